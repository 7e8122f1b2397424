#include "platform/linux/PulseAudioSystem.h"

#include "platform/linux/PulseAudioEngine.h"

namespace selvar {

std::unique_ptr<AudioEngine> PulseAudioSystem::makeEngine() {
  return std::make_unique<PulseAudioEngine>();
}

std::optional<std::string> PulseAudioSystem::defaultInputDeviceName() const {
  PulseConnection::Lock lock(connection_);
  auto name = connection_.defaultSourceName();
  if (!name) return std::nullopt;
  auto source = connection_.source(*name);
  return source ? std::optional(source->description) : std::nullopt;
}

} // namespace selvar
