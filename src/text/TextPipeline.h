#pragma once
// Turns the raw transcript of one utterance into the text that is inserted. Pure functions of
// their arguments; every step can be used on its own. Characters are user-perceived characters
// and their letter, number, lowercase and white-space tests are Unicode properties.

#include "text/Characters.h"
#include "text/Dictionary.h"
#include "text/DictionaryRule.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace selvar::TextPipeline {

struct Options {
  bool stripFillers = false;
  bool spokenPunctuation = false;
  bool autoCapitalize = false;
  bool trailingPeriod = false;
  std::vector<DictionaryRule> rules; // compiled afresh on every call
};

// The whole clean-up, in its fixed order. Returns "" when only white space and punctuation
// would be left. Invalid UTF-8 in the input is replaced by U+FFFD.
std::string process(std::string_view text, const Options &options);
// The same, reporting the dictionary rules that could not run on this text.
std::string process(std::string_view text, const Options &options,
                    std::vector<Dictionary::Failure> &ruleFailures);

// "um, " and the like, when not glued to a preceding word and followed by a comma or space.
std::string stripFiller(std::string_view text);
// "comma" → ",", "new line" → line feed …; the spaces around stay for tidy to remove.
std::string applySpokenPunctuation(std::string_view text);
// Collapses spaces, closes up before marks, spaces after them, and trims.
std::string tidy(std::string_view text);
// One space after , ; : ! ? and sentence-ending periods when something is glued to them.
std::string spaceAfterMarks(std::string_view text);
// Drops a sign-off a speech model invented at the end of silence ("Thank you.").
std::string stripTrailingHallucination(std::string_view text);
// Collapses a phrase or sentence said three or more times in a row.
std::string collapseRepeats(std::string_view text);

struct RepeatedUnit {
  std::string text; // the unit in the case it was spoken
  int repeats = 0;
};
// The text as one group of two or more words repeated throughout, when it is that.
std::optional<RepeatedUnit> repeatedUnit(std::string_view text);

std::string capitalizeSentences(std::string_view text);
// Whether the character at `index` ends a sentence (a period after an abbreviation, an
// initial, or inside a number does not). Requires index < chars.size().
bool endsSentence(const Characters &chars, std::size_t index);

} // namespace selvar::TextPipeline
