#include "app/StatusMenu.h"

#include "support/Unicode.h"

#include <memory>
#include <unicode/brkiter.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace selvar::StatusMenu {

namespace {

icu::UnicodeString collapseWhitespace(std::string_view text) {
  icu::UnicodeString input = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  UErrorCode status = U_ZERO_ERROR;
  thread_local std::unique_ptr<icu::RegexPattern> pattern(
      icu::RegexPattern::compile(u"\\s+", 0, status));
  if (!pattern) return input;
  status = U_ZERO_ERROR;
  std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
  if (U_FAILURE(status)) return input;
  return matcher->replaceAll(u" ", status);
}

// The first `count` user-perceived characters, or nothing when the text is not longer than
// `limit` characters.
std::optional<icu::UnicodeString> prefixIfLonger(const icu::UnicodeString &text, int32_t count,
                                                 int32_t limit) {
  UErrorCode status = U_ZERO_ERROR;
  thread_local std::unique_ptr<icu::BreakIterator> it(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (!it) return std::nullopt;
  it->setText(text);
  int32_t cut = 0, seen = 0;
  for (int32_t b = it->next(); b != icu::BreakIterator::DONE; b = it->next()) {
    if (++seen == count) cut = b;
    if (seen > limit) return icu::UnicodeString(text, 0, cut);
  }
  return std::nullopt;
}

std::string utf8(const icu::UnicodeString &text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

MenuItem recentDictations(const std::vector<std::string> &texts) {
  MenuItem submenu = MenuItem::submenu("Recent Dictations");
  for (std::size_t i = 0; i < texts.size() && i < kRecentLimit; ++i) {
    MenuItem item = MenuItem::command(menuTitle(texts[i]), MenuAction::pasteRecent);
    item.tag = static_cast<int>(i);
    item.representedText = texts[i];
    submenu.items.push_back(std::move(item));
  }
  return submenu;
}

} // namespace

std::string menuTitle(std::string_view text) {
  std::string line = trimWhitespace(utf8(collapseWhitespace(text)));
  icu::UnicodeString u = icu::UnicodeString::fromUTF8(line);
  // Below 55 characters the text stays whole; from 55 on it is cut to 53 plus the ellipsis.
  if (auto head = prefixIfLonger(u, 53, 54)) return utf8(*head) + "…";
  return line;
}

std::vector<MenuItem> build(const StatusMenuState &state) {
  std::vector<MenuItem> items;
  items.push_back(MenuItem::command("Paste Last Dictation", MenuAction::pasteLastDictation,
                                    state.pasteLastKey));
  if (!state.recentTexts.empty()) items.push_back(recentDictations(state.recentTexts));
  if (state.failedRecordingKept)
    items.push_back(MenuItem::command("Retry Failed Dictation", MenuAction::retryFailedDictation));
  items.push_back(MenuItem::separator());
  items.push_back(MenuItem::command("Settings…", MenuAction::openSettings, KeyEquivalent{","}));
  items.push_back(MenuItem::command("Send Feedback…", MenuAction::openFeedback));
  items.push_back(MenuItem::separator());
  items.push_back(MenuItem::command("Quit Selvar", MenuAction::quit, KeyEquivalent{"q"}));
  return items;
}

std::string toolTip(TriggerMode mode, std::string_view triggerShortLabel) {
  std::string tip = "Selvar — ";
  tip += mode == TriggerMode::hold ? "hold" : "tap";
  tip += ' ';
  tip += triggerShortLabel;
  tip += " to dictate";
  return tip;
}

} // namespace selvar::StatusMenu
