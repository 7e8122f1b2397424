#pragma once
// One running copy per bundle identifier: another running application with Selvar's bundle
// identifier and another process identifier holds the claim.

#include "platform/SingleInstance.h"

namespace selvar {

class BundleSingleInstance : public SingleInstance {
public:
  InstanceClaim claim() override;
};

} // namespace selvar
