#pragma once
// What the running platform offers beyond the common services: the system's on-device speech
// recognizer and its on-device language model, the system's name in window texts, whether
// there is an Fn key to trigger with and how keys are named. The entry point sets them once at
// start.

#include <string>

namespace selvar {

struct PlatformCapabilities {
  bool onDeviceRecognizer = false;
  bool foundationModels = false;
  // How the windows name the operating system.
  std::string systemName = "macOS";
  // The keyboard reports an Fn (Globe) key the trigger can use.
  bool fnKey = true;
  // Keys are named as on a PC keyboard (Alt, Super, Ctrl, "Ctrl+Alt+V") instead of with the
  // Mac's names and symbols (Option, Command, "⌃⌥V").
  bool pcKeyNames = false;
  // How to start a local rewrite server by hand here; empty: the built-in endpoint's command.
  std::string rewriteStartCommand{};
};

const PlatformCapabilities &platformCapabilities();
void setPlatformCapabilities(const PlatformCapabilities &capabilities);

} // namespace selvar
