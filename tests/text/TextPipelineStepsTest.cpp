#include "text/TextPipeline.h"

#include <gtest/gtest.h>

namespace selvar {
namespace {

using namespace TextPipeline;

struct Case {
  const char *input;
  const char *expected;
};

TEST(TextPipelineStepsTest, StripFiller) {
  Case cases[] = {
      {"um, so uh I think hmm", "so I think hmm"}, // the last filler has nothing after it
      {"Um, hello", "hello"},
      {"UH   well", "well"},
      {"so um", "so um"},
      {"um.", "um."},
      {"umbrella um\tcheck", "umbrella check"},
      {"drum, bass", "drum, bass"}, // glued to a word before it
      {"ah,,, erm\nyes", "yes"},
      {"café um, noir", "café noir"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(stripFiller(c.input), c.expected) << c.input;
}

TEST(TextPipelineStepsTest, ApplySpokenPunctuation) {
  Case cases[] = {
      {"hello comma world", "hello , world"},
      {"a semicolon b colon c", "a ; b : c"}, // "semicolon" goes before "colon"
      {"Full Stop", "."},
      {"one new paragraph two new line three", "one \n\n two \n three"},
      {"wait dash what", "wait  \u2014 what"},
      {"really exclamation point", "really !"},
      {"two commas and a periodic table", "two commas and a periodic table"},
      {"café comma crème", "café , crème"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(applySpokenPunctuation(c.input), c.expected) << c.input;
}

TEST(TextPipelineStepsTest, Tidy) {
  Case cases[] = {
      {"it costs 3.50 dollars.Next", "it costs 3.50 dollars. Next"},
      {"dollars.ok", "dollars.ok"},
      {"call Dr.Smith", "call Dr.Smith"},
      {"e.g.this", "e.g.this"},
      {"see fig.2", "see fig.2"},
      {"hello ,world", "hello, world"},
      {"Hi!There?Yes;no", "Hi! There? Yes; no"},
      {"1,000 people at 10:30", "1,000 people at 10:30"},
      {"a,1 and 1,a", "a, 1 and 1, a"},
      {"\"Hi,\" he said", "\"Hi,\" he said"},
      {"(yes.) (no.)", "(yes.) (no.)"},
      {"one \n\n\n\n two", "one\n\ntwo"},
      {"wait ... what", "wait... what"},
      {"  Ça va.Très bien  ", "Ça va. Très bien"},
      {"३,४ and ٣:٤", "३,४ and ٣:٤"}, // numbers in other scripts
  };
  for (const auto &c : cases)
    EXPECT_EQ(tidy(c.input), c.expected) << c.input;
}

TEST(TextPipelineStepsTest, EndsSentence) {
  struct At {
    const char *text;
    std::size_t index;
    bool ends;
  } cases[] = {
      {"Hello.", 5, true},       {".", 0, true},
      {"Hi!", 2, true},          {"3.5", 1, false},
      {"wait...", 4, false},     {"e.g", 1, false},
      {".x", 0, false},          {".X", 0, true},
      {"Mr. Smith", 2, false},   {"MR. Smith", 2, false},
      {"ask Prof. X", 8, false}, {"a J. Smith", 3, false},
      {"(a. b", 2, false},       {"\"Q. x", 2, false},
      {"plan B.", 6, false},     {"42.", 2, true},
      {"café.", 4, true},        {"Straße. Ja", 6, true},
      {"👍🏽.", 1, true},    {"etc.", 3, false},
      {"I said no.", 9, false},  {"x.", 1, true},
      {"東京.", 2, true},
  };
  for (const auto &c : cases)
    EXPECT_EQ(endsSentence(characters(c.text), c.index), c.ends) << c.text << " @" << c.index;
}

TEST(TextPipelineStepsTest, StripTrailingHallucination) {
  Case cases[] = {
      {"Great talk. Thank you.", "Great talk."},
      {"Thank you.", "Thank you."}, // nothing else was said
      {"It works. Thanks.", "It works."},
      {"I love you", "I love you"},
      {"We went to the bayou", "We went to the bayou"},
      {"See you at 5. Bye bye!", "See you at 5."},
      {"Done. THANK YOU FOR WATCHING!", "Done."},
      {"Done. Thank you very much.", "Done."},
      {"Done. Thanks. Thank you.", "Done. Thanks."}, // one phrase a call
      {"This sentence is certainly long enough to count thanks for watching",
       "This sentence is certainly long enough to count"},
      {"Nice thanks for watching", "Nice thanks for watching"},
      {"He said \"thank you\"", "He said \"thank you\""},
      {"Room 101 you", "Room 101 you"},
      {"Çok güzel. Thank you.", "Çok güzel."},
      {"Great 👍🏽. Bye.", "Great 👍🏽."},
      {"Ok.\nBye", "Ok."},
  };
  for (const auto &c : cases)
    EXPECT_EQ(stripTrailingHallucination(c.input), c.expected) << c.input;
}

TEST(TextPipelineStepsTest, RepeatedUnit) {
  auto unit = repeatedUnit("Hello World hello world HELLO  WORLD");
  ASSERT_TRUE(unit);
  EXPECT_EQ(unit->text, "Hello World");
  EXPECT_EQ(unit->repeats, 3);
  unit = repeatedUnit("na na na na na na na na");
  ASSERT_TRUE(unit);
  EXPECT_EQ(unit->text, "na na");
  EXPECT_EQ(unit->repeats, 4);
  EXPECT_EQ(repeatedUnit("İyi günler İyi günler İyi günler")->text, "İyi günler");
  for (const char *none : {"a b c a b c", "x y x y", "one two three four five six", "a b a b a c",
                           "", "yes yes yes yes yes"})
    EXPECT_FALSE(repeatedUnit(none)) << none;
}

TEST(TextPipelineStepsTest, CollapseRepeats) {
  Case cases[] = {
      {"hello world hello world hello world", "hello world"},
      {"Yes. Yes. Yes. Okay.", "Yes. Okay."},
      {"Yes. Yes. Okay.", "Yes. Yes. Okay."}, // two in a row are kept
      {"Go! go! GO! Go! Now", "Go! Now"},
      {"Sure. Sure. Sure.", "Sure."},
      {"Sure. Sure. Sure", "Sure. Sure. Sure"},
      {"A. B. A. B.", "A. B. A. B."},
      {"好。好。好。", "好。好。好。"}, // the ideographic full stop does not cut sentences
      {"  ", ""},
  };
  for (const auto &c : cases)
    EXPECT_EQ(collapseRepeats(c.input), c.expected) << c.input;
}

TEST(TextPipelineStepsTest, CapitalizeSentences) {
  Case cases[] = {
      {"hello. world", "Hello. World"},
      {"mr. jones is here. ok", "Mr. jones is here. Ok"},
      {"see e.g. this", "See e.g. this"},
      {"line one\nline two", "Line one\nLine two"},
      {"3 apples. 4 pears", "3 apples. 4 pears"},
      {"\"quoted\" text", "\"quoted\" text"},
      {"  spaced start", "  Spaced start"},
      {"élan vital. ça va", "Élan vital. Ça va"},
      {"ßtraße", "SStraße"},
      {"istanbul. ılık", "Istanbul. Ilık"},
      {"東京 tokyo. 大阪", "東京 tokyo. 大阪"},
      {"wow! really? yes", "Wow! Really? Yes"},
      {"👍🏽 great", "👍🏽 great"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(capitalizeSentences(c.input), c.expected) << c.input;
}

} // namespace
} // namespace selvar
