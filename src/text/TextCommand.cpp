#include "text/TextCommand.h"

#include "benchmark/WordErrorRate.h"
#include "text/DictionaryStore.h"
#include "text/RegexReplace.h"
#include "text/TextOptions.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <optional>
#include <sstream>
#include <variant>

namespace selvar {

namespace {

namespace fs = std::filesystem;

constexpr int kFailed = 1;
constexpr int kBadUsage = 2;

constexpr const char *kUsage =
    "usage: selvar-text [--fillers on|off] [--spoken-punctuation on|off] [--capitalize on|off]\n"
    "                   [--trailing-period on|off] [--rules FILE] < TEXT\n"
    "       selvar-text --wer REFERENCE_FILE HYPOTHESIS_FILE\n"
    "\n"
    "Cleans up standard input as Selvar cleans up a dictation and prints the result. The\n"
    "current preferences and dictionary apply unless a flag overrides them; --rules tries the\n"
    "rules of another dictionary file. --wer prints the word error rate of a transcript.\n";

struct Request {
  bool help = false;
  std::optional<std::pair<std::string, std::string>> wer;
  std::array<std::optional<bool>, 4> toggles; // in the order of kToggles
  std::optional<std::string> rulesFile;
  bool onlyWer() const {
    for (const auto &t : toggles)
      if (t) return false;
    return !rulesFile;
  }
};

struct Toggle {
  const char *flag;
  bool TextPipeline::Options::*option;
};
constexpr std::array<Toggle, 4> kToggles{{
    {"--fillers", &TextPipeline::Options::stripFillers},
    {"--spoken-punctuation", &TextPipeline::Options::spokenPunctuation},
    {"--capitalize", &TextPipeline::Options::autoCapitalize},
    {"--trailing-period", &TextPipeline::Options::trailingPeriod},
}};

using Parsed = std::variant<Request, std::string>; // the request, or what is wrong with it

// Reads the flag's value, given inline ("--rules=x") or as the next argument.
std::optional<std::string> flagValue(const std::vector<std::string> &args, std::size_t &i,
                                     const std::optional<std::string> &inlineValue) {
  if (inlineValue) return inlineValue;
  if (i + 1 < args.size()) return args[++i];
  return std::nullopt;
}

std::optional<std::string> parseToggle(const std::string &flag,
                                       const std::optional<std::string> &value,
                                       std::optional<bool> &into) {
  if (!value) return fmt::format("{} needs on or off", flag);
  if (*value != "on" && *value != "off")
    return fmt::format("{} takes on or off, not '{}'", flag, *value);
  into = *value == "on";
  return std::nullopt;
}

// Handles one argument at `i`; returns what is wrong with it, if anything.
std::optional<std::string> parseArgument(const std::vector<std::string> &args, std::size_t &i,
                                         Request &request) {
  std::string flag = args[i];
  std::optional<std::string> inlineValue;
  if (auto eq = flag.find('='); flag.starts_with("--") && eq != std::string::npos) {
    inlineValue = flag.substr(eq + 1);
    flag.resize(eq);
  }
  if (flag == "--help" || flag == "-h") {
    request.help = true;
    return std::nullopt;
  }
  for (std::size_t t = 0; t < kToggles.size(); ++t)
    if (flag == kToggles[t].flag)
      return parseToggle(flag, flagValue(args, i, inlineValue), request.toggles[t]);
  if (flag == "--rules") {
    request.rulesFile = flagValue(args, i, inlineValue);
    if (!request.rulesFile || request.rulesFile->empty()) return "--rules needs a file";
    return std::nullopt;
  }
  if (flag == "--wer" && !inlineValue) {
    if (i + 2 >= args.size()) return "--wer needs a reference file and a hypothesis file";
    request.wer.emplace(args[i + 1], args[i + 2]);
    i += 2;
    return std::nullopt;
  }
  if (flag.starts_with("-")) return fmt::format("unknown option '{}'", args[i]);
  return fmt::format("unexpected argument '{}'; the text comes on standard input", args[i]);
}

Parsed parse(const std::vector<std::string> &args) {
  Request request;
  for (std::size_t i = 0; i < args.size(); ++i)
    if (auto problem = parseArgument(args, i, request)) return *problem;
  if (request.wer && !request.onlyWer()) return "--wer takes no other options";
  return request;
}

TextCommandResult failure(int code, const std::string &message) {
  return {code, {}, fmt::format("selvar-text: {}\n", message)};
}

struct FileText {
  std::optional<std::string> text;
  std::string why; // when there is no text
};

FileText readFile(const fs::path &file) {
  std::error_code ec;
  if (fs::is_directory(file, ec)) return {std::nullopt, "is a folder"};
  std::ifstream in(file, std::ios::binary);
  if (!in) return {std::nullopt, std::strerror(errno)};
  std::ostringstream contents;
  contents << in.rdbuf();
  return {std::move(contents).str(), {}};
}

TextCommandResult wordErrorRate(const std::string &referenceFile,
                                const std::string &hypothesisFile) {
  FileText reference = readFile(referenceFile), hypothesis = readFile(hypothesisFile);
  if (!reference.text)
    return failure(kFailed, fmt::format("cannot read {}: {}", referenceFile, reference.why));
  if (!hypothesis.text)
    return failure(kFailed, fmt::format("cannot read {}: {}", hypothesisFile, hypothesis.why));
  auto wer = WordErrorRate::score(*reference.text, *hypothesis.text);
  if (!wer) return {0, "the reference has no words\n", {}};
  return {0, fmt::format("{:.4f}\n", *wer), {}};
}

// A warning line for every rule the clean-up will leave out because it does not compile.
std::string compileWarnings(const std::vector<DictionaryRule> &rules) {
  std::string warnings;
  for (std::size_t i = 0; i < rules.size(); ++i) {
    std::string why;
    if (rules[i].isRegex && !rules[i].heard.empty() &&
        !RegexReplace::compile(rules[i].heard, UREGEX_CASE_INSENSITIVE, &why))
      warnings += fmt::format("selvar-text: warning: rule {} left out, its pattern does not "
                              "compile ({}): {}\n",
                              i + 1, why, rules[i].heard);
  }
  return warnings;
}

TextCommandResult cleanUp(const Request &request, const std::function<std::string()> &readInput) {
  TextPipeline::Options options = preferredTextOptions();
  for (std::size_t t = 0; t < kToggles.size(); ++t)
    if (request.toggles[t]) options.*kToggles[t].option = *request.toggles[t];
  fs::path file = request.rulesFile ? fs::path(*request.rulesFile) : DictionaryStore::fileURL();
  DictionaryRead read = DictionaryStore::read(file);
  using Status = DictionaryRead::Status;
  if (read.status == Status::undecodable)
    return failure(kFailed, fmt::format("{} does not decode: {}", file.string(), read.detail));
  if (!read.ok() && (request.rulesFile || read.status != Status::missing))
    return failure(kFailed, fmt::format("cannot read {}: {}", file.string(), read.detail));
  options.rules = std::move(read.rules);

  TextCommandResult result{0, {}, compileWarnings(options.rules)};
  std::vector<Dictionary::Failure> failures;
  result.out = TextPipeline::process(readInput(), options, failures) + "\n";
  for (const auto &f : failures)
    result.err += fmt::format("selvar-text: warning: rule {}, left out: {}\n", f.why, f.heard);
  return result;
}

} // namespace

TextCommandResult runTextCommand(const std::vector<std::string> &args,
                                 const std::function<std::string()> &readInput) {
  Parsed parsed = parse(args);
  if (auto *problem = std::get_if<std::string>(&parsed))
    return failure(kBadUsage, *problem + " (see --help)");
  const Request &request = std::get<Request>(parsed);
  if (request.help) return {0, kUsage, {}};
  if (request.wer) return wordErrorRate(request.wer->first, request.wer->second);
  return cleanUp(request, readInput);
}

} // namespace selvar
