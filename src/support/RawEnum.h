#pragma once
// Enumerations stored as their raw-value strings. Each enumeration declares its cases (in the
// order the settings window lists them) and its default by specialising RawEnumTraits.

#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace selvar {

template <typename E> struct RawEnumTraits; // cases, fallback

template <typename E> constexpr std::string_view rawValue(E value) {
  for (const auto &[c, raw] : RawEnumTraits<E>::cases)
    if (c == value) return raw;
  return {};
}

// Exact, case-sensitive match against the raw values.
template <typename E> constexpr std::optional<E> fromRawValue(std::string_view raw) {
  for (const auto &[c, r] : RawEnumTraits<E>::cases)
    if (r == raw) return c;
  return std::nullopt;
}

template <typename E> constexpr E fromRawValueOrDefault(std::optional<std::string_view> raw) {
  if (raw)
    if (auto v = fromRawValue<E>(*raw)) return *v;
  return RawEnumTraits<E>::fallback;
}

template <typename E> constexpr auto allCases() {
  std::array<E, RawEnumTraits<E>::cases.size()> out{};
  for (std::size_t i = 0; i < out.size(); ++i)
    out[i] = RawEnumTraits<E>::cases[i].first;
  return out;
}

} // namespace selvar
