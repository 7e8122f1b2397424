#pragma once
// Process-wide word that a dictation is under way: true from the moment capture starts until
// the utterance is committed or aborted. Written on the main thread, readable anywhere.

#include <atomic>

namespace selvar::DictationActivity {

inline std::atomic<bool> inFlight{false};

} // namespace selvar::DictationActivity
