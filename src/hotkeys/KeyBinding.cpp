#include "hotkeys/KeyBinding.h"

#include "hotkeys/KeyChoices.h"
#include "platform/KeyboardLayout.h"
#include "platform/NotificationCenter.h"
#include "platform/PlatformCapabilities.h"
#include "platform/Services.h"
#include "platform/SettingsStore.h"
#include "support/JsonWriter.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace selvar {

namespace {

// Keys whose layout character is invisible or misleading, by macOS virtual key code.
struct SpecialKey {
  int keyCode;
  const char *name;
};
constexpr SpecialKey kSpecialKeys[] = {
    {122, "F1"},        {120, "F2"},   {99, "F3"},
    {118, "F4"},        {96, "F5"},    {97, "F6"},
    {98, "F7"},         {100, "F8"},   {101, "F9"},
    {109, "F10"},       {103, "F11"},  {111, "F12"},
    {105, "F13"},       {107, "F14"},  {113, "F15"},
    {106, "F16"},       {64, "F17"},   {79, "F18"},
    {80, "F19"},        {90, "F20"},   {49, "Space"},
    {36, "Return"},     {48, "Tab"},   {51, "Delete"},
    {53, "Esc"},        {76, "Enter"}, {117, "Forward Delete"},
    {115, "Home"},      {119, "End"},  {116, "Page Up"},
    {121, "Page Down"}, {123, "←"},    {124, "→"},
    {125, "↓"},         {126, "↑"},    {114, "Help"},
    {71, "Clear"},
};

bool isPrintable(const icu::UnicodeString &text) {
  if (text.isEmpty()) return false;
  for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
    UChar32 c = text.char32At(i);
    if (u_iscntrl(c) || u_isspace(c)) return false;
  }
  return true;
}

std::optional<std::string> layoutName(int keyCode) {
  if (keyCode < 0 || keyCode > 65535) return std::nullopt;
  auto *layout = services().keyboardLayout;
  if (!layout) return std::nullopt;
  auto character = layout->characterForKeyCode(keyCode);
  if (!character) return std::nullopt;
  auto text = icu::UnicodeString::fromUTF8(*character);
  if (!isPrintable(text)) return std::nullopt;
  std::string out;
  text.toUpper(icu::Locale::getRoot()).toUTF8String(out);
  return out;
}

// Integers only, as a typed decoder would read them; 3.0, "3" and out-of-range numbers fail.
std::optional<std::int64_t> integerMember(const nlohmann::json &object, const char *key) {
  auto it = object.find(key);
  if (it == object.end()) return std::nullopt;
  if (it->is_number_unsigned()) {
    auto u = it->get<std::uint64_t>();
    if (u > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
      return std::nullopt;
    return static_cast<std::int64_t>(u);
  }
  if (it->is_number_integer()) return it->get<std::int64_t>();
  return std::nullopt;
}

} // namespace

std::string KeyBinding::name(int keyCode) {
  for (const auto &k : kSpecialKeys)
    if (k.keyCode == keyCode) return k.name;
  if (auto n = layoutName(keyCode)) return *n;
  return "Key " + std::to_string(keyCode);
}

std::string KeyBinding::describe() const {
  const bool pc = platformCapabilities().pcKeyNames;
  std::string out;
  if (modifiers & ModifierFlag::control) out += pc ? "Ctrl+" : "⌃";
  if (modifiers & ModifierFlag::option) out += pc ? "Alt+" : "⌥";
  if (modifiers & ModifierFlag::shift) out += pc ? "Shift+" : "⇧";
  if (modifiers & ModifierFlag::command) out += pc ? "Super+" : "⌘";
  return out + name(keyCode);
}

std::string KeyBinding::toJson() const {
  return JsonWriter::compactSorted({{"keyCode", keyCode}, {"modifiers", modifiers}});
}

std::optional<KeyBinding> KeyBinding::fromJson(std::string_view text) {
  auto json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_object()) return std::nullopt;
  auto code = integerMember(json, "keyCode");
  auto mods = integerMember(json, "modifiers");
  if (!code || !mods || *mods < 0 || *code < std::numeric_limits<int>::min() ||
      *code > std::numeric_limits<int>::max())
    return std::nullopt;
  return KeyBinding{static_cast<int>(*code), static_cast<std::uint64_t>(*mods)};
}

namespace Prefs {

std::optional<KeyBinding> binding(const char *key) {
  auto bytes = services().settings->bytesValue(key);
  if (!bytes) return std::nullopt;
  return KeyBinding::fromJson(
      std::string_view(reinterpret_cast<const char *>(bytes->data()), bytes->size()));
}

void setBinding(const std::optional<KeyBinding> &binding, const char *key) {
  if (binding) {
    auto json = binding->toJson();
    services().settings->setValue(key, SettingBytes(json.begin(), json.end()));
  } else {
    services().settings->remove(key);
  }
  services().notifications->post(kTriggerChangedNotification);
}

} // namespace Prefs
} // namespace selvar
