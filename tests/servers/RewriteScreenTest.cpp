// The screen between a language model's reply and the user's text window. The chatter cases
// are replies real small models gave to dictated sentences.

#include "servers/RewriteScreen.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using RewriteScreen::screen;

struct Case {
  const char *name;
  std::string original;
  std::string reply;
  std::string rejection; // the start of the reason; empty: accepted
  std::string text = {}; // the accepted text, when checked
};

void expectVerdicts(const std::vector<Case> &cases) {
  for (const auto &c : cases) {
    auto verdict = screen(c.reply, c.original);
    if (c.rejection.empty()) {
      EXPECT_TRUE(verdict.accepted()) << c.name << ": " << verdict.rejection;
      if (!c.text.empty()) {
        EXPECT_EQ(verdict.text, c.text) << c.name;
      }
    } else {
      EXPECT_TRUE(verdict.rejection.starts_with(c.rejection))
          << c.name << ": got \"" << verdict.rejection << "\"";
    }
  }
}

TEST(RewriteScreenTest, ChatterOfAPlausibleLengthIsRejected) {
  expectVerdicts({
      {"refusal", "so the thing is I need to send the report to Maria before Friday okay",
       "I'm sorry for the confusion, but as a text-based AI assistant, I don't have the "
       "capability to send reports.",
       "assistant opening \"i'm sorry\""},
      {"preamble with the text below it",
       "we should meet on tuesday no wait on wednesday at the cafe near the station",
       "Here's a revised version of your text with some suggested edits:\n\nWe should meet on "
       "Wednesday at the cafe near the station.",
       "added line breaks"},
      {"preamble on one line", "buy milk eggs and bread and also call the plumber",
       "Sure! Buy milk, eggs and bread, and also call the plumber.", "assistant opening \"sure\""},
      {"typographic apostrophe", "remind me to water the plants tomorrow morning",
       "Here\u2019s your reminder: water the plants tomorrow morning.",
       "assistant opening \"here's\""},
      {"an answer instead of a correction", "what time does the train to Basel leave tonight",
       "The train schedule depends on the operator; check the timetable online.", "word overlap"},
      {"letters of another language after the text",
       "the budget meeting moved to thursday no sorry friday at ten",
       "The budget meeting moved to Thursday, no sorry. สธรายแ"
       "ด้ตายน สธรายแด้"
       "ตายน สธ",
       "writing system the dictation did not use (Thai)"},
      {"answer at twice the length", "is it going to rain today",
       "I don't have access to real-time weather data, but you can check a forecast service.",
       "length ratio"},
  });
}

TEST(RewriteScreenTest, ThinkingIsStrippedBeforeAnythingElse) {
  expectVerdicts({
      {"closed block", "their going home after the game",
       "<think>\nThe user means they're.\n</think>\n\nThey're going home after the game.", "",
       "They're going home after the game."},
      {"two blocks and upper case", "call anna at five",
       "<THINK>a</THINK>Call Anna<think>b</think> at five.", "", "Call Anna at five."},
      {"unclosed block", "call anna at five", "<think>The user wants me to", "only a <think>"},
      {"empty block then nothing", "call anna at five", "<think></think>   ", "only a <think>"},
  });
}

TEST(RewriteScreenTest, HonestRewritesPass) {
  expectVerdicts({
      {"a homophone in a short text", "their going home", "They're going home.", ""},
      {"fillers removed", "um so I think we should uh move the meeting to Monday",
       "So I think we should move the meeting to Monday.", ""},
      {"self-correction resolved", "send it to Tom no sorry to Tim by noon",
       "Send it to Tim by noon.", ""},
      {"list punctuated", "we need apples pears and plums and a basket",
       "We need apples, pears, and plums, and a basket.", ""},
      {"dictation that opens like chatter", "sure I can do that here's the plan",
       "Sure, I can do that. Here's the plan.", ""},
      {"line breaks the text already had", "first line\nsecond line", "First line.\nSecond line.",
       ""},
      {"Japanese kept in its own mix of scripts", "きょうは会議", "今日はミーティング。", ""},
      {"label and quotes", "call anna at five", "Corrected text: \"Call Anna at five.\"", "",
       "Call Anna at five."},
  });
}

TEST(RewriteScreenTest, OpeningsMatchWholeWordsOnly) {
  EXPECT_FALSE(RewriteScreen::chatterOpening("Surely you jest.", "surely you jest"));
  EXPECT_FALSE(RewriteScreen::chatterOpening("Sorrynotsorry is a word.", "sorrynotsorry"));
  EXPECT_EQ(RewriteScreen::chatterOpening("Certainly, here it is.", "it is"), "certainly");
}

TEST(RewriteScreenTest, OverlapCountsTheReplysWords) {
  EXPECT_DOUBLE_EQ(RewriteScreen::wordOverlap("They're going HOME.", "they're going home"), 1.0);
  EXPECT_DOUBLE_EQ(RewriteScreen::wordOverlap("Going home now, friend.", "going home"), 0.5);
  EXPECT_DOUBLE_EQ(RewriteScreen::wordOverlap("", "anything"), 0.0);
  EXPECT_DOUBLE_EQ(RewriteScreen::wordOverlap("Über Zürich.", "über zürich"), 1.0);
}

} // namespace
} // namespace selvar
