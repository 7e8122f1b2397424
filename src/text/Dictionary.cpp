#include "text/Dictionary.h"

#include "records/Log.h"
#include "text/DictionaryStore.h"

#include <algorithm>
#include <fmt/format.h>
#include <mutex>

namespace selvar {

namespace {

constexpr std::size_t kRememberedFailures = 256;

struct FailedRules {
  std::mutex mutex;
  std::vector<std::string> heard;
};

FailedRules &failedRules() {
  static FailedRules failed;
  return failed;
}

// One log line per rule, however many utterances it fails on.
void noteFailure(const std::string &heard, std::string_view why) {
  auto &failed = failedRules();
  std::lock_guard lock(failed.mutex);
  if (std::find(failed.heard.begin(), failed.heard.end(), heard) != failed.heard.end()) return;
  if (failed.heard.size() >= kRememberedFailures) failed.heard.erase(failed.heard.begin());
  failed.heard.push_back(heard);
  Log::write(fmt::format("dictionary rule {}, left out for this text: {}", why, heard));
}

} // namespace

Dictionary::Dictionary(const std::vector<DictionaryRule> &rules) : compiled_(compile(rules)) {}

std::vector<Dictionary::Compiled> Dictionary::compile(const std::vector<DictionaryRule> &rules) {
  std::vector<Compiled> out;
  out.reserve(rules.size());
  for (const auto &rule : rules) {
    if (rule.heard.empty()) continue;
    std::string pattern = rule.isRegex
                              ? rule.heard
                              : "(?<!\\w)" + RegexReplace::escapedPattern(rule.heard) + "(?!\\w)";
    auto expression = RegexReplace::compile(pattern, UREGEX_CASE_INSENSITIVE);
    if (!expression) continue;
    out.push_back({std::move(expression),
                   rule.isRegex ? rule.replace : RegexReplace::escapedTemplate(rule.replace),
                   rule.heard});
  }
  return out;
}

std::string Dictionary::apply(const std::vector<Compiled> &compiled, std::string_view text) {
  std::string current(text);
  for (const auto &rule : compiled) {
    auto result =
        RegexReplace::replaceAll(*rule.expression, current, rule.replacementTemplate, kRuleBudget);
    if (result.text)
      current = std::move(*result.text);
    else
      noteFailure(rule.heard, result.timedOut ? "timed out" : "failed (" + result.failure + ")");
  }
  return current;
}

DictionaryRead Dictionary::load(const std::filesystem::path &from) {
  DictionaryRead read = DictionaryStore::read(from);
  if (read.ok()) compiled_ = compile(read.rules);
  return read;
}

std::vector<std::string> Dictionary::rulesThatFailedToRun() {
  auto &failed = failedRules();
  std::lock_guard lock(failed.mutex);
  return failed.heard;
}

} // namespace selvar
