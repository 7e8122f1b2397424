#include "text/TextPipeline.h"

#include "support/Unicode.h"
#include "text/Dictionary.h"
#include "text/RegexReplace.h"

#include <algorithm>
#include <array>
#include <utility>

namespace selvar::TextPipeline {

namespace {

using RegexReplace::Pattern;

constexpr std::array<const char *, 5> kFillers{"um", "uh", "erm", "ah", "hmm"};

constexpr std::array<std::pair<const char *, const char *>, 11> kSpokenPunctuation{{
    {"new paragraph", "\n\n"},
    {"new line", "\n"},
    {"full stop", "."},
    {"question mark", "?"},
    {"exclamation mark", "!"},
    {"exclamation point", "!"},
    {"semicolon", ";"},
    {"colon", ":"},
    {"comma", ","},
    {"period", "."},
    {"dash", " \u2014"},
}};

struct Replacement {
  Pattern pattern;
  std::string replacementTemplate;
};

// The built-in expressions, compiled once; a row that does not compile stays null and is
// skipped. The look-behinds say \w rather than [\w]: both mean a word character, but a
// bracketed set under (?i) makes ICU build its case closure, tens of milliseconds a pattern.
struct FixedExpressions {
  std::vector<Pattern> fillers;
  std::vector<Replacement> spokenPunctuation;
  std::array<Replacement, 4> tidy;
  Replacement loneI;
};

FixedExpressions buildFixedExpressions() {
  FixedExpressions e;
  for (const char *filler : kFillers)
    e.fillers.push_back(RegexReplace::compile(std::string("(?i)(?<!\\w)") + filler + "[,\\s]+"));
  for (const auto &[phrase, mark] : kSpokenPunctuation)
    e.spokenPunctuation.push_back(
        {RegexReplace::compile(std::string("(?i)(?<!\\w)") + phrase + "(?!\\w)"),
         RegexReplace::escapedTemplate(mark)});
  e.tidy = {{{RegexReplace::compile("[ \\t]+"), " "},
             {RegexReplace::compile(" +([,.;:!?])"), "$1"},
             {RegexReplace::compile(" *\\n *"), "\n"},
             {RegexReplace::compile("\\n{3,}"), "\n\n"}}};
  e.loneI = {RegexReplace::compile("(?<![\\w'])i(?![\\w'])"), "I"};
  return e;
}

const FixedExpressions &fixed() {
  static const FixedExpressions expressions = buildFixedExpressions();
  return expressions;
}

std::string replaced(const Replacement &r, std::string_view text) {
  if (!r.pattern) return std::string(text);
  return RegexReplace::replaceAllOrKeep(*r.pattern, text, r.replacementTemplate);
}

bool isEdgeMark(const Character &c) {
  static constexpr std::array<std::string_view, 12> marks{".", "!", "?",      "\u2026", ",",  ";",
                                                          ":", "-", "\u2014", " ",      "\n", "\t"};
  return std::find(marks.begin(), marks.end(), c.text) != marks.end();
}

// Whether anything but the marks, spaces and line breaks that may surround a sentence is left.
bool hasContent(std::string_view text) {
  for (const Character &c : characters(text))
    if (!isEdgeMark(c)) return true;
  return false;
}

bool endsWithStop(std::string_view text) {
  Characters chars = characters(text);
  if (chars.empty()) return true;
  const Character &last = chars.back();
  return last == "." || last == "!" || last == "?" || last == "\u2026" || last.isLineFeed();
}

} // namespace

std::string stripFiller(std::string_view text) {
  std::string out(text);
  for (const Pattern &filler : fixed().fillers)
    if (filler) out = RegexReplace::replaceAllOrKeep(*filler, out, "");
  return out;
}

std::string applySpokenPunctuation(std::string_view text) {
  std::string out(text);
  for (const Replacement &row : fixed().spokenPunctuation)
    out = replaced(row, out);
  return out;
}

std::string tidy(std::string_view text) {
  const auto &steps = fixed().tidy;
  std::string out = replaced(steps[1], replaced(steps[0], text));
  out = spaceAfterMarks(out);
  out = replaced(steps[3], replaced(steps[2], out));
  return trimWhitespace(out);
}

std::string process(std::string_view input, const Options &options) {
  std::vector<Dictionary::Failure> ignored;
  return process(input, options, ignored);
}

std::string process(std::string_view input, const Options &options,
                    std::vector<Dictionary::Failure> &ruleFailures) {
  std::string text = trimWhitespace(repairUtf8(input));
  if (text.empty()) return "";
  if (options.stripFillers) text = stripFiller(text);
  if (options.spokenPunctuation) text = applySpokenPunctuation(text);
  if (!options.rules.empty())
    text = Dictionary::apply(Dictionary::compile(options.rules), text, &ruleFailures);
  text = stripTrailingHallucination(tidy(text));
  if (!hasContent(text)) return "";
  text = collapseRepeats(text);
  if (options.autoCapitalize)
    text = spaceAfterMarks(replaced(fixed().loneI, capitalizeSentences(text)));
  if (options.trailingPeriod && !endsWithStop(text)) text += '.';
  return text;
}

} // namespace selvar::TextPipeline
