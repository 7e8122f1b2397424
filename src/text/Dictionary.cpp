#include "text/Dictionary.h"

#include "records/Log.h"
#include "text/DictionaryStore.h"

#include <algorithm>
#include <fmt/format.h>
#include <mutex>

namespace selvar {

namespace {

constexpr std::size_t kRememberedFailures = 256;

// One log line per rule, however many utterances it fails on.
void logOnce(const Dictionary::Failure &failure) {
  static std::mutex mutex;
  static std::vector<std::string> logged;
  std::lock_guard lock(mutex);
  if (std::find(logged.begin(), logged.end(), failure.heard) != logged.end()) return;
  if (logged.size() >= kRememberedFailures) logged.erase(logged.begin());
  logged.push_back(failure.heard);
  Log::write(
      fmt::format("dictionary rule {}, left out for this text: {}", failure.why, failure.heard));
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

std::string Dictionary::apply(const std::vector<Compiled> &compiled, std::string_view text,
                              std::vector<Failure> *failures) {
  std::string current(text);
  for (const auto &rule : compiled) {
    auto result =
        RegexReplace::replaceAll(*rule.expression, current, rule.replacementTemplate, kRuleBudget);
    if (result.text) {
      current = std::move(*result.text);
      continue;
    }
    Failure failure{rule.heard, result.timedOut ? "timed out" : "failed (" + result.failure + ")"};
    logOnce(failure);
    if (failures) failures->push_back(std::move(failure));
  }
  return current;
}

DictionaryRead Dictionary::load(const std::filesystem::path &from) {
  DictionaryRead read = DictionaryStore::read(from);
  if (read.ok()) compiled_ = compile(read.rules);
  return read;
}

} // namespace selvar
