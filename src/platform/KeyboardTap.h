#pragma once
// The session-wide keyboard event tap: every key-down and modifier change reaches one handler
// on the main thread, which decides whether the event is swallowed.

#include <cstdint>
#include <functional>

namespace selvar {

struct KeyEvent {
  enum class Type {
    keyDown,
    flagsChanged,
    // The system switched the tap off (a slow callback, or user input); it must be re-enabled.
    tapDisabledByTimeout,
    tapDisabledByUserInput,
    other,
  };
  Type type = Type::other;
  int keyCode = 0;
  std::uint64_t flags = 0; // the event's flags word (modifier and device bits)
};

class KeyboardTap {
public:
  // Returns true to swallow the event, false to pass it on unchanged.
  using Handler = std::function<bool(const KeyEvent &)>;
  virtual ~KeyboardTap() = default;
  // Creates and enables the tap (key-down and flags-changed, able to swallow). False when the
  // system refuses, typically without the accessibility grant.
  virtual bool install(Handler handler) = 0;
  virtual void remove() = 0;
  virtual bool isInstalled() const = 0;
  virtual void reenable() = 0;
  // Whether the key is down right now in the combined session state.
  virtual bool isKeyDown(int keyCode) const = 0;
};

} // namespace selvar
