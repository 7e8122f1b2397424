#pragma once
// Decides whether a language model's reply to "clean up this dictation" is a cleaned-up
// version of the text or something else (an answer, an apology, a preamble, a thought), so
// that only the former is ever pasted. Small models produce chatter of a plausible length,
// which a length check alone lets through.

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace selvar::RewriteScreen {

// Share of the reply's words that the dictation also has. Over 24 dictated sentences sent to
// SmolLM2-135M-Instruct, the honest rewrites scored 0.86 and above and the answers and
// preambles at most 0.58; the threshold sits between the two. The screen allows one new word
// on top (see screen), which only matters for short texts.
inline constexpr double kMinimumWordOverlap = 0.7;

// Openings of a reply that talks to the user instead of returning the text, lower case. A
// dictation that itself opens the same way is not held against the reply.
inline constexpr std::array<std::string_view, 29> kChatterOpenings{
    "here's",         "here is",          "here are",        "sure",
    "certainly",      "of course",        "absolutely",      "okay, here",
    "ok, here",       "i'm sorry",        "i am sorry",      "sorry",
    "i apologize",    "i'm glad",         "i am glad",       "as an ai",
    "as a language",  "as a text-based",  "as an assistant", "i can't",
    "i cannot",       "i can not",        "i'm unable",      "i am unable",
    "i'd be happy",   "i would be happy", "the corrected",   "the revised",
    "revised version"};

struct Verdict {
  std::string text;      // the cleaned reply, to insert when accepted
  std::string rejection; // why it must not be inserted; empty when accepted
  bool accepted() const { return rejection.empty(); }
};

// Removes every <think>…</think> block; an unclosed one runs to the end of the reply.
std::string stripThinking(std::string_view reply);
// Trims, drops one each of the known label prefixes ("Corrected text:" …) and one pair of
// wrapping quotes.
std::string clean(std::string_view reply);
// Length of the candidate over the original's, in characters; 1 for an empty original.
double lengthRatio(std::string_view candidate, std::string_view original);
double wordOverlap(std::string_view candidate, std::string_view original);
// The name of a writing system (script) the candidate uses and the original does not, if any;
// Han, kana and Hangul count as one.
std::optional<std::string> newWritingSystem(std::string_view candidate, std::string_view original);
// The chatter opening the candidate starts with and the original does not.
std::optional<std::string_view> chatterOpening(std::string_view candidate,
                                               std::string_view original);
// Every rule in turn; the first that fails names the rejection.
Verdict screen(std::string_view reply, std::string_view original);

} // namespace selvar::RewriteScreen
