#include "servers/RewriteScreen.h"

#include "support/Unicode.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>
#include <unicode/unistr.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>
#include <vector>

namespace selvar::RewriteScreen {

namespace {

constexpr std::array<std::string_view, 4> kLabelPrefixes{
    "Corrected text:", "Corrected:", "Output:", "Text:"};
constexpr double kMinimumRatio = 0.5;
constexpr double kMaximumRatio = 2.0;

char lowerAscii(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string lowerAscii(std::string_view s) {
  std::string out(s);
  std::transform(out.begin(), out.end(), out.begin(), [](char c) { return lowerAscii(c); });
  // Models write the typographic apostrophe where the dictation has the plain one.
  std::string plain;
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (out.compare(i, 3, "\xE2\x80\x99") == 0) {
      plain += '\'';
      i += 2;
    } else {
      plain += out[i];
    }
  }
  return plain;
}

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         lowerAscii(text.substr(0, prefix.size())) == lowerAscii(prefix);
}

bool wrappedIn(std::string_view s, char quote) {
  return s.size() >= 2 && s.front() == quote && s.back() == quote;
}

bool isWordByte(char c) {
  auto u = static_cast<unsigned char>(c);
  return std::isalnum(u) || u >= 0x80 || c == '\'';
}

std::string foldCase(std::string_view text) {
  std::string folded;
  icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
      .foldCase()
      .toUTF8String(folded);
  return folded;
}

// Case-folded words without their surrounding punctuation.
std::vector<std::string> words(std::string_view text) {
  std::vector<std::string> out;
  std::string lower = lowerAscii(foldCase(text));
  std::string word;
  auto flush = [&] {
    while (!word.empty() && word.back() == '\'')
      word.pop_back();
    std::size_t lead = word.find_first_not_of('\'');
    if (lead != std::string::npos) out.push_back(word.substr(lead));
    word.clear();
  };
  for (char c : lower) {
    if (isWordByte(c))
      word += c;
    else
      flush();
  }
  flush();
  return out;
}

bool opensWith(std::string_view lowerText, std::string_view opening) {
  if (!lowerText.starts_with(opening)) return false;
  if (lowerText.size() == opening.size()) return true;
  char next = lowerText[opening.size()];
  return !std::isalnum(static_cast<unsigned char>(next)) ||
         !std::isalnum(static_cast<unsigned char>(opening.back()));
}

std::size_t lineBreaks(std::string_view s) {
  return static_cast<std::size_t>(std::count(s.begin(), s.end(), '\n'));
}

} // namespace

std::string stripThinking(std::string_view reply) {
  std::string out;
  std::string lower = lowerAscii(reply);
  std::size_t at = 0;
  while (true) {
    std::size_t open = lower.find("<think>", at);
    if (open == std::string::npos) break;
    out.append(reply.substr(at, open - at));
    std::size_t close = lower.find("</think>", open);
    if (close == std::string::npos) return out;
    at = close + std::string_view("</think>").size();
  }
  out.append(reply.substr(at));
  return out;
}

std::string clean(std::string_view reply) {
  std::string s = trimWhitespace(reply);
  for (std::string_view prefix : kLabelPrefixes) {
    if (startsWithIgnoringCase(s, prefix))
      s = trimWhitespace(std::string_view(s).substr(prefix.size()));
  }
  if (wrappedIn(s, '"') || wrappedIn(s, '\''))
    s = trimWhitespace(std::string_view(s).substr(1, s.size() - 2));
  return s;
}

double lengthRatio(std::string_view candidate, std::string_view original) {
  auto originalCount = static_cast<double>(graphemeCount(original));
  return originalCount == 0 ? 1.0 : static_cast<double>(graphemeCount(candidate)) / originalCount;
}

double wordOverlap(std::string_view candidate, std::string_view original) {
  auto said = words(original);
  auto reply = words(candidate);
  if (reply.empty()) return said.empty() ? 1.0 : 0.0;
  std::set<std::string, std::less<>> known(said.begin(), said.end());
  auto kept = std::count_if(reply.begin(), reply.end(),
                            [&](const std::string &w) { return known.contains(w); });
  return static_cast<double>(kept) / static_cast<double>(reply.size());
}

namespace {

// Han, kana and Hangul mix within one East Asian text, so they count as one writing system.
UScriptCode writingSystem(UScriptCode script) {
  switch (script) {
  case USCRIPT_HIRAGANA:
  case USCRIPT_KATAKANA:
  case USCRIPT_HANGUL:
  case USCRIPT_BOPOMOFO:
    return USCRIPT_HAN;
  default:
    return script;
  }
}

std::set<UScriptCode> writingSystems(std::string_view text) {
  std::set<UScriptCode> found;
  const auto *bytes = reinterpret_cast<const uint8_t *>(text.data());
  auto length = static_cast<int32_t>(text.size());
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U8_NEXT(bytes, i, length, c);
    if (c < 0) continue;
    UErrorCode status = U_ZERO_ERROR;
    UScriptCode script = uscript_getScript(c, &status);
    if (U_FAILURE(status) || script == USCRIPT_COMMON || script == USCRIPT_INHERITED) continue;
    found.insert(writingSystem(script));
  }
  return found;
}

} // namespace

std::optional<std::string> newWritingSystem(std::string_view candidate, std::string_view original) {
  auto said = writingSystems(original);
  for (UScriptCode script : writingSystems(candidate))
    if (!said.contains(script)) return std::string(uscript_getName(script));
  return std::nullopt;
}

std::optional<std::string_view> chatterOpening(std::string_view candidate,
                                               std::string_view original) {
  std::string reply = lowerAscii(trimWhitespace(candidate));
  std::string said = lowerAscii(trimWhitespace(original));
  for (std::string_view opening : kChatterOpenings)
    if (opensWith(reply, opening) && !opensWith(said, opening)) return opening;
  return std::nullopt;
}

Verdict screen(std::string_view reply, std::string_view original) {
  std::string withoutThoughts = stripThinking(reply);
  if (trimWhitespace(withoutThoughts).empty() && !trimWhitespace(reply).empty())
    return {"", "only a <think> block"};
  std::string text = clean(withoutThoughts);
  if (text.empty()) return {"", "empty"};
  double ratio = lengthRatio(text, original);
  if (ratio <= kMinimumRatio || ratio >= kMaximumRatio)
    return {text, fmt::format("length ratio {:.2f} outside (0.5, 2.0)", ratio)};
  if (lineBreaks(text) > lineBreaks(original))
    return {text, fmt::format("added line breaks ({} where the text had {})", lineBreaks(text),
                              lineBreaks(original))};
  // Small models drift into another language's letters mid-reply; no cleanup does that.
  if (auto script = newWritingSystem(text, original))
    return {text, fmt::format("writing system the dictation did not use ({})", *script)};
  if (auto opening = chatterOpening(text, original))
    return {text, fmt::format("assistant opening \"{}\"", *opening)};
  // One word of the reply may be new whatever the length, so that a homophone fixed in a
  // three-word sentence ("their going home") is not taken for chatter.
  double replyWords = static_cast<double>(std::max<std::size_t>(words(text).size(), 1));
  double overlap = std::min(1.0, wordOverlap(text, original) + 1 / replyWords);
  if (overlap < kMinimumWordOverlap)
    return {text, fmt::format("word overlap {:.2f} below {:.2f}", overlap, kMinimumWordOverlap)};
  return {text, ""};
}

} // namespace selvar::RewriteScreen
