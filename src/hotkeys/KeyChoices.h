#pragma once
// The user's key choices: the trigger modifier, the cancel key and the paste-last chord, with
// their labels and the macOS virtual key codes and event-flag bits by which the event tap
// recognises them. Other platforms translate their key events into these values, so stored
// choices mean the same everywhere.

#include "support/RawEnum.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace selvar {

using EventFlags = std::uint64_t;

// Device-independent modifier bits of a key event's flags word.
namespace ModifierFlag {
inline constexpr EventFlags shift = 0x20000;
inline constexpr EventFlags control = 0x40000;
inline constexpr EventFlags option = 0x80000;
inline constexpr EventFlags command = 0x100000;
// The four above together: what chords compare.
inline constexpr EventFlags chordMask = 0x1E0000;
} // namespace ModifierFlag

namespace VirtualKey {
inline constexpr int v = 9;
inline constexpr int returnKey = 36;
inline constexpr int keypadEnter = 76;
inline constexpr int escape = 53;
} // namespace VirtualKey

enum class Trigger { rightOption, rightCommand, rightControl, fnGlobe };
enum class CancelKey { escape, controlPeriod, controlSlash };
enum class PasteShortcut { controlCommandV, controlOptionV, commandShiftV, disabled };

template <> struct RawEnumTraits<Trigger> {
  static constexpr std::array<std::pair<Trigger, std::string_view>, 4> cases{
      {{Trigger::rightOption, "rightOption"},
       {Trigger::rightCommand, "rightCommand"},
       {Trigger::rightControl, "rightControl"},
       {Trigger::fnGlobe, "fnGlobe"}}};
  static constexpr Trigger fallback = Trigger::rightOption;
};
template <> struct RawEnumTraits<CancelKey> {
  static constexpr std::array<std::pair<CancelKey, std::string_view>, 3> cases{
      {{CancelKey::escape, "escape"},
       {CancelKey::controlPeriod, "controlPeriod"},
       {CancelKey::controlSlash, "controlSlash"}}};
  static constexpr CancelKey fallback = CancelKey::escape;
};
template <> struct RawEnumTraits<PasteShortcut> {
  static constexpr std::array<std::pair<PasteShortcut, std::string_view>, 4> cases{
      {{PasteShortcut::controlCommandV, "controlCommandV"},
       {PasteShortcut::controlOptionV, "controlOptionV"},
       {PasteShortcut::commandShiftV, "commandShiftV"},
       {PasteShortcut::disabled, "disabled"}}};
  static constexpr PasteShortcut fallback = PasteShortcut::controlCommandV;
};

std::string_view label(Trigger trigger);
std::string_view shortLabel(Trigger trigger);
int keyCode(Trigger trigger);
// The flags bit that marks this particular key held: the right-hand device bit for the
// modifiers (so the left-hand key of the same kind never counts), the Fn bit for fnGlobe.
EventFlags deviceMask(Trigger trigger);

std::string_view label(CancelKey key);
int keyCode(CancelKey key);
// The modifier bit the key needs in the event flags; 0 for any modifiers.
EventFlags requiredModifier(CancelKey key);
bool matches(CancelKey key, int keyCode, EventFlags flags);

std::string_view label(PasteShortcut shortcut);
// The exact modifier bits of the chord within ModifierFlag::chordMask; none when disabled.
std::optional<EventFlags> modifierBits(PasteShortcut shortcut);
// Key code 9 (V) with exactly the chord's modifiers; disabled never matches.
bool matches(PasteShortcut shortcut, int keyCode, EventFlags flags);

// Reads a flags-changed event against the trigger: nothing when the event is about another key,
// otherwise whether the trigger is now down. The key-state query is asked only when the flags
// alone do not say the key is down.
std::optional<bool> triggerState(Trigger trigger, int eventKeyCode, EventFlags flags,
                                 const std::function<bool(int keyCode)> &isKeyPressed);

// Stored choices, read at the moment of use with their defaults applied.
namespace TriggerStore {
Trigger current();
// Writes the raw value and posts "Selvar.triggerChanged".
void setCurrent(Trigger trigger);
} // namespace TriggerStore

namespace CancelKeyStore {
CancelKey current();
// Writes the raw value and posts "Selvar.triggerChanged", then "Selvar.cancelKeyChanged".
void setCurrent(CancelKey key);
} // namespace CancelKeyStore

namespace PasteShortcutStore {
PasteShortcut current();
// Writes the raw value; the tap reads the chord at each key-down, so nothing is posted.
void setCurrent(PasteShortcut shortcut);
} // namespace PasteShortcutStore

} // namespace selvar
