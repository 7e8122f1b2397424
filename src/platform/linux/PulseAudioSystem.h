#pragma once
// The sound server as the capture code sees it: a fresh capture engine per session, and the
// default input's name for the logs.

#include "platform/AudioEngine.h"
#include "platform/linux/PulseConnection.h"

namespace selvar {

class PulseAudioSystem : public AudioSystem {
public:
  std::unique_ptr<AudioEngine> makeEngine() override;
  std::optional<std::string> defaultInputDeviceName() const override;

private:
  mutable PulseConnection connection_{"Selvar"};
};

} // namespace selvar
