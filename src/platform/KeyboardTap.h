#pragma once
// The session-wide keyboard event tap: every key-down and modifier change reaches one handler
// on the main thread, which decides whether the event is swallowed.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

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

// A key-down to keep from the focused application: the key code with the modifier bits it
// needs (0 for any modifiers), or with exactly those modifiers (a chord).
struct SwallowedKey {
  int keyCode = 0;
  std::uint64_t requiredFlags = 0;
  bool exactModifiers = false;
  friend bool operator==(const SwallowedKey &, const SwallowedKey &) = default;
};

// Whether the applications see the keys Selvar acts on.
enum class KeyPassage {
  // Selvar keeps a key from the focused application when it claims it.
  swallowedWhenClaimed,
  // Keys are only observed: the cancel key and the chords act and also reach the application.
  alsoReachApplication,
  // Selvar hears only the shortcuts the desktop binds for it, and the desktop keeps those from
  // every application; other keys (a bare Escape during the confirmation) never reach Selvar.
  onlyDesktopShortcuts,
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
  // The keys whose key-downs must not reach the focused application from now on; empty
  // releases them. For taps that only observe (X11) and must claim keys before they are
  // pressed; a tap that swallows by the handler's answer ignores it.
  virtual void setSwallowedKeys(std::vector<SwallowedKey> keys) { (void)keys; }
  // Where the keys come from, as the log and the settings window name it.
  virtual std::string sourceName() const = 0;
  // What becomes of the keys Selvar acts on, as far as the other applications are concerned.
  virtual KeyPassage keyPassage() const = 0;
};

} // namespace selvar
