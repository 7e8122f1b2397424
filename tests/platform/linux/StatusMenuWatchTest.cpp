#include "platform/linux/StatusMenuWatch.h"

#include "platform/fake/FakeEnvironment.h"

#include <fstream>
#include <glib.h>
#include <gtest/gtest.h>

namespace selvar {
namespace {

gboolean expire(gpointer flag) {
  *static_cast<bool *>(flag) = true;
  return G_SOURCE_REMOVE;
}

// Runs the default main context until `done` holds or a real-time bound passes.
bool iterateUntil(const std::function<bool()> &done) {
  bool expired = false;
  guint bound = g_timeout_add(5000, expire, &expired);
  while (!done() && !expired)
    g_main_context_iteration(nullptr, TRUE);
  if (!expired) g_source_remove(bound);
  return done();
}

TEST(StatusMenuWatchTest, AHistoryWriteOrAKeyChoiceRebuildsTheMenuOnce) {
  FakeEnvironment env;
  auto history = env.root() / "history";
  std::filesystem::create_directories(history);
  int rebuilds = 0;
  StatusMenuWatch watch({history, env.root() / "missing"}, [&] { ++rebuilds; });

  std::ofstream(history / "2026-11-21.jsonl", std::ios::app) << "{\"text\":\"hello\"}\n";
  ASSERT_TRUE(iterateUntil([&] { return rebuilds > 0; }));
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
  int afterWrite = rebuilds;
  EXPECT_LE(afterWrite, 2) << "one burst of file events, one or two rebuilds";

  env.notifications.post(kTriggerChangedNotification);
  env.notifications.post(kTriggerChangedNotification);
  ASSERT_TRUE(iterateUntil([&] { return rebuilds > afterWrite; }));
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
  EXPECT_EQ(rebuilds, afterWrite + 1) << "posts in one turn of the loop coalesce";
}

} // namespace
} // namespace selvar
