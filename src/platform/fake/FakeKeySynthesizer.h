#pragma once
// Records synthetic keystrokes instead of posting them; never sleeps.

#include "platform/KeySynthesizer.h"

#include <functional>
#include <vector>

namespace selvar {

class FakeKeySynthesizer : public KeySynthesizer {
public:
  struct Keystroke {
    int keyCode;
    std::uint64_t flags;
    double holdSeconds;
  };
  bool postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) override {
    if (!canCreateEvents) return false;
    posted.push_back({keyCode, flags, holdSeconds});
    if (onPost) onPost();
    return true;
  }
  bool canPostKeystrokes() const override { return reachesApplications; }
  bool canCreateEvents = true;
  // Off: a session where no keystroke can reach other applications.
  bool reachesApplications = true;
  std::vector<Keystroke> posted;
  // Runs after each recorded keystroke (a test's "the application pasted").
  std::function<void()> onPost;
};

} // namespace selvar
