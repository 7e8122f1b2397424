#pragma once
// The session-wide keyboard event tap: every key-down and modifier change reaches one handler
// on the main thread, which decides whether the event is swallowed.

#include <cstdint>
#include <functional>

namespace selvar {

// Modifier bits of a key event's flags word (device-independent ones).
namespace ModifierFlag {
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
inline constexpr std::uint64_t chordMask = 0x1E0000;
} // namespace ModifierFlag

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
  std::uint64_t flags = 0;
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
