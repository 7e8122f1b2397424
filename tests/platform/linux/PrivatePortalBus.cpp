#include "PrivatePortalBus.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace selvar::testing {

namespace {

constexpr const char *kControlPath = "/org/selvar/test/stand_in";
constexpr const char *kControlInterface = "org.selvar.test.PortalStandIn";
constexpr guint kPumpBoundMs = 10000;

// A test that crashes must not leave its bus and stand-in behind.
void dieWithTheTest(gpointer) {
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
}

// Starts the program with its stdout on a pipe and reads its first line; empty on failure.
std::string spawnAndReadLine(std::vector<std::string> argv, pid_t &pid, bool quiet = false) {
  std::vector<char *> args;
  for (auto &arg : argv)
    args.push_back(arg.data());
  args.push_back(nullptr);
  gint out = -1;
  GPid child = 0;
  if (!g_spawn_async_with_pipes(nullptr, args.data(), nullptr,
                                static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH |
                                                         G_SPAWN_DO_NOT_REAP_CHILD |
                                                         (quiet ? G_SPAWN_STDERR_TO_DEV_NULL : 0)),
                                dieWithTheTest, nullptr, &child, nullptr, &out, nullptr, nullptr))
    return {};
  pid = child;
  std::string line;
  char c = 0;
  // Ends at the newline, or at end of file when the program fails before printing one.
  while (::read(out, &c, 1) == 1 && c != '\n')
    line += c;
  ::close(out);
  return line;
}

void stop(pid_t &pid) {
  if (pid <= 0) return;
  ::kill(pid, SIGTERM);
  ::waitpid(pid, nullptr, 0);
  pid = -1;
}

} // namespace

PrivatePortalBus::PrivatePortalBus() {
  gchar *daemon = g_find_program_in_path("dbus-daemon");
  if (!daemon) {
    problem_ = "dbus-daemon is not installed (scripts/install-deps.sh installs it)";
    return;
  }
  g_free(daemon);
  // Quiet: as root it complains on every start that it may not raise its file limit.
  const std::string address = spawnAndReadLine(
      {"dbus-daemon", "--session", "--nofork", "--print-address=1"}, daemon_, true);
  if (address.empty()) {
    problem_ = "dbus-daemon did not start";
    return;
  }
  const std::string ready = spawnAndReadLine(
      {"/usr/bin/python3", SELVAR_TEST_TOOLS_DIR "/portal-stand-in.py", address}, standIn_);
  if (ready != "ready") {
    problem_ = "the stand-in portal did not start (it needs /usr/bin/python3 with gi)";
    return;
  }
  GError *error = nullptr;
  connection_ = g_dbus_connection_new_for_address_sync(
      address.c_str(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, &error);
  if (!connection_) {
    problem_ = std::string("cannot connect to the private bus: ") + error->message;
    g_clear_error(&error);
    return;
  }
  g_dbus_connection_set_exit_on_close(connection_, FALSE);
}

PrivatePortalBus::~PrivatePortalBus() {
  if (connection_) {
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
  }
  stop(standIn_);
  stop(daemon_);
  // Lets GDBus finish what it queued for the closed connection while the test still runs.
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
}

nlohmann::json PrivatePortalBus::control(const char *method, GVariant *parameters) {
  GError *error = nullptr;
  GVariant *reply = g_dbus_connection_call_sync(
      connection_, "org.freedesktop.portal.Desktop", kControlPath, kControlInterface, method,
      parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error);
  if (!reply) {
    std::string why = error ? error->message : "no reply";
    g_clear_error(&error);
    ADD_FAILURE() << "stand-in portal " << method << ": " << why;
    return nullptr;
  }
  nlohmann::json out;
  if (g_variant_is_of_type(reply, G_VARIANT_TYPE("(s)"))) {
    const gchar *text = nullptr;
    g_variant_get(reply, "(&s)", &text);
    out = nlohmann::json::parse(text);
  }
  g_variant_unref(reply);
  return out;
}

void PrivatePortalBus::configure(const nlohmann::json &config) {
  control("Configure", g_variant_new("(s)", config.dump().c_str()));
}

nlohmann::json PrivatePortalBus::calls() {
  return control("Calls", nullptr);
}

nlohmann::json PrivatePortalBus::callsTo(const std::string &method) {
  nlohmann::json out = nlohmann::json::array();
  for (const auto &call : calls())
    if (call["method"] == method) out.push_back(call);
  return out;
}

void PrivatePortalBus::emit(const std::string &signal, const std::string &shortcutId) {
  control("Emit", g_variant_new("(ss)", signal.c_str(), shortcutId.c_str()));
}

bool PrivatePortalBus::pumpUntil(const std::function<bool()> &condition) {
  // The bound wakes the loop when nothing else does; it never decides a test that passes.
  bool expired = false;
  const guint bound = g_timeout_add(
      kPumpBoundMs,
      [](gpointer flag) {
        *static_cast<bool *>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &expired);
  while (!condition() && !expired)
    g_main_context_iteration(nullptr, TRUE);
  if (!expired) g_source_remove(bound);
  return condition();
}

} // namespace selvar::testing
