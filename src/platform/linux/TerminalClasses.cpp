#include "platform/linux/TerminalClasses.h"

#include <algorithm>
#include <array>
#include <string>

namespace selvar::TerminalClasses {

namespace {

constexpr std::array<std::string_view, 22> kTerminals{"xterm",
                                                      "uxterm",
                                                      "gnome-terminal",
                                                      "gnome-terminal-server",
                                                      "konsole",
                                                      "xfce4-terminal",
                                                      "terminator",
                                                      "tilix",
                                                      "kitty",
                                                      "alacritty",
                                                      "urxvt",
                                                      "rxvt",
                                                      "st",
                                                      "st-256color",
                                                      "lxterminal",
                                                      "mate-terminal",
                                                      "qterminal",
                                                      "terminology",
                                                      "wezterm",
                                                      "org.wezfurlong.wezterm",
                                                      "foot",
                                                      "com.gexperts.tilix"};

std::string lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return char(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
  return out;
}

} // namespace

bool isTerminal(std::string_view windowClass) {
  const std::string name = lower(windowClass);
  return std::find(kTerminals.begin(), kTerminals.end(), name) != kTerminals.end();
}

} // namespace selvar::TerminalClasses
