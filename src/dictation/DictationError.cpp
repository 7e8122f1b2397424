#include "dictation/DictationError.h"

namespace selvar {

std::string shortReason(const std::optional<DictationError> &error) {
  if (!error) return "try again";
  switch (error->code) {
  case 203:
  case 1101:
    return "no speech heard";
  case 1107:
    return "on-device speech is off";
  case 1110:
    return "model still loading";
  default:
    return "code " + std::to_string(error->code);
  }
}

} // namespace selvar
