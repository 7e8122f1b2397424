#pragma once
// The real input devices: the nodes in /dev/input, each read through libevdev (which keeps the
// key state right across a dropped-events resync). Opened read-only and non-blocking, never
// grabbed.

#include "platform/linux/EvdevInput.h"

#include <filesystem>

namespace selvar {

class LibevdevSystem : public EvdevSystem {
public:
  explicit LibevdevSystem(std::filesystem::path folder = "/dev/input")
      : folder_(std::move(folder)) {}
  std::vector<std::string> devicePaths() override;
  EvdevOpened open(const std::string &path) override;
  const std::filesystem::path &folder() const { return folder_; }

private:
  std::filesystem::path folder_;
};

} // namespace selvar
