#include "platform/fake/FakeEnvironment.h"
#include "platform/linux/LockFileSingleInstance.h"
#include "support/LogText.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace selvar {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path &file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Sets or clears an environment variable for one test.
class ScopedEnv {
public:
  ScopedEnv(const char *name, std::optional<std::string> value) : name_(name) {
    if (const char *old = std::getenv(name)) previous_ = old;
    set(value);
  }
  ~ScopedEnv() { set(previous_); }
  ScopedEnv(const ScopedEnv &) = delete;
  ScopedEnv &operator=(const ScopedEnv &) = delete;

private:
  void set(const std::optional<std::string> &value) {
    if (value)
      ::setenv(name_, value->c_str(), 1);
    else
      ::unsetenv(name_);
  }
  const char *name_;
  std::optional<std::string> previous_;
};

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

TEST(SingleInstanceTest, TheLockLivesInAPrivateFolderOfTheUser) {
  FakeEnvironment env;
  std::string uid = std::to_string(::getuid());
  struct Case {
    std::optional<std::string> home, runtime;
    fs::path expected;
  } cases[] = {
      {"/h", "/run/user/7", "/h/selvar.lock"},
      {std::nullopt, "/run/user/7", "/run/user/7/selvar/selvar.lock"},
      {std::nullopt, std::nullopt, env.root() / "tmp" / ("selvar-" + uid) / "selvar.lock"},
  };
  ScopedEnv tmp("TMPDIR", (env.root() / "tmp").string());
  for (const auto &c : cases) {
    ScopedEnv home("SELVAR_HOME", c.home), runtime("XDG_RUNTIME_DIR", c.runtime);
    EXPECT_EQ(LockFileSingleInstance::defaultLockFile(), c.expected);
  }

  ScopedEnv home("SELVAR_HOME", std::nullopt), runtime("XDG_RUNTIME_DIR", std::nullopt);
  LockFileSingleInstance instance(LockFileSingleInstance::defaultLockFile());
  EXPECT_TRUE(instance.claim().acquired);
  struct stat st {};
  ASSERT_EQ(::lstat((env.root() / "tmp" / ("selvar-" + uid)).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0700u);
  EXPECT_EQ(contents(env.root() / "tmp" / ("selvar-" + uid) / "selvar.lock"),
            std::to_string(::getpid()) + "\n");
}

// Someone who can put entries into the lock's folder must not get the pid written elsewhere:
// each of these is refused with a log line, the target stays as it was, and the app still runs.
TEST(SingleInstanceTest, ALockPlantedByOthersIsRefusedAndItsTargetLeftAlone) {
  FakeEnvironment env;
  fs::path victim = env.root() / "victim.txt";
  struct Case {
    const char *name;
    std::function<void(const fs::path &folder)> plant;
    const char *logged;
  } cases[] = {
      {"link as the lock file",
       [&](const fs::path &folder) {
         fs::create_directory(folder);
         fs::permissions(folder, fs::perms::owner_all);
         fs::create_symlink(victim, folder / "selvar.lock");
       },
       "cannot open"},
      {"hard link as the lock file",
       [&](const fs::path &folder) {
         fs::create_directory(folder);
         fs::permissions(folder, fs::perms::owner_all);
         fs::create_hard_link(victim, folder / "selvar.lock");
       },
       "it has 2 links"},
      {"link as the folder",
       [&](const fs::path &folder) {
         fs::create_directory(env.root() / "elsewhere");
         fs::create_directory_symlink(env.root() / "elsewhere", folder);
       },
       "it is a symbolic link"},
      {"folder others may write to",
       [&](const fs::path &folder) {
         fs::create_directory(folder);
         fs::permissions(folder, fs::perms::all);
       },
       "others may write to it (mode 777)"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    fs::path folder = env.root() / "run";
    std::error_code ec;
    fs::remove_all(folder, ec);
    fs::remove_all(env.root() / "elsewhere", ec);
    std::ofstream(victim) << "precious\n";
    c.plant(folder);
    LockFileSingleInstance instance(folder / "selvar.lock");
    EXPECT_TRUE(instance.claim().acquired);
    EXPECT_EQ(contents(victim), "precious\n");
    EXPECT_FALSE(fs::exists(env.root() / "elsewhere" / "selvar.lock"));
    EXPECT_EQ(testing::logCount(c.logged), 1u);
  }
}

TEST(SingleInstanceTest, AFolderOfAnotherUserIsRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to hand a folder to another user";
  FakeEnvironment env;
  fs::path folder = env.root() / "run";
  fs::create_directory(folder);
  fs::permissions(folder, fs::perms::owner_all);
  ASSERT_EQ(::chown(folder.c_str(), 65534, 65534), 0);
  LockFileSingleInstance instance(folder / "selvar.lock");
  EXPECT_TRUE(instance.claim().acquired);
  EXPECT_FALSE(fs::exists(folder / "selvar.lock"));
  EXPECT_EQ(testing::logCount("it belongs to user 65534"), 1u);
}

} // namespace
} // namespace selvar
