#pragma once
// Hands bytes to another process through a pipe it gave us (a clipboard read) without ever
// waiting for it: what the pipe does not take at once is written as the reader drains it, from
// the GLib main loop. A reader that stops reading is given up on after kGiveUpSeconds, so the
// data and the descriptor are not kept for good.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace selvar::PipeHandOver {

inline constexpr double kGiveUpSeconds = 10.0;

// Takes ownership of fd (closed once done or given up). what names the data in log lines.
void start(int fd, std::shared_ptr<const std::vector<std::uint8_t>> bytes, std::string what);

} // namespace selvar::PipeHandOver
