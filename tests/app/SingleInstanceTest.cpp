#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/LockFileSingleInstance.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace selvar {
namespace {

TEST(SingleInstanceTest, TheSecondCopyLearnsTheHolderUntilTheFirstOneEnds) {
  FakeEnvironment env;
  auto lock = env.root() / "run" / "selvar.lock";
  auto first = std::make_unique<LockFileSingleInstance>(lock);
  EXPECT_TRUE(first->claim().acquired);
  EXPECT_TRUE(first->claim().acquired) << "claiming again keeps the claim";

  LockFileSingleInstance second(lock);
  InstanceClaim refused = second.claim();
  EXPECT_FALSE(refused.acquired);
  EXPECT_EQ(refused.holderPid, ::getpid());

  first.reset(); // the process ended: the lock goes with it
  EXPECT_TRUE(second.claim().acquired);
}

} // namespace
} // namespace selvar
