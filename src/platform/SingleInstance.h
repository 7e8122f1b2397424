#pragma once
// The rule that only one copy of Selvar runs per user session: the first copy claims it and
// keeps it until it exits; a later copy learns which process holds it.

#include <optional>

namespace selvar {

struct InstanceClaim {
  bool acquired = false;
  // The process that holds the claim when this copy did not get it (0 when unknown).
  int holderPid = 0;
};

class SingleInstance {
public:
  virtual ~SingleInstance() = default;
  // Idempotent: a copy that already holds the claim gets it again.
  virtual InstanceClaim claim() = 0;
};

} // namespace selvar
