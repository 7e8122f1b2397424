#include "support/Uuid.h"

#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <random>

namespace selvar {

std::string makeUuidString() {
  thread_local std::mt19937_64 rng{std::random_device{}()};
  std::array<std::uint8_t, 16> b{};
  for (std::size_t i = 0; i < b.size(); i += 8) {
    std::uint64_t v = rng();
    for (std::size_t j = 0; j < 8; ++j)
      b[i + j] = static_cast<std::uint8_t>(v >> (8 * j));
  }
  b[6] = static_cast<std::uint8_t>((b[6] & 0x0F) | 0x40);
  b[8] = static_cast<std::uint8_t>((b[8] & 0x3F) | 0x80);
  return fmt::format("{:02X}{:02X}{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}-{:02X}{:02X}"
                     "{:02X}{:02X}{:02X}{:02X}",
                     b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11],
                     b[12], b[13], b[14], b[15]);
}

} // namespace selvar
