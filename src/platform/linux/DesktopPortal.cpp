#include "platform/linux/DesktopPortal.h"

#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "records/Log.h"

#include <fmt/format.h>

namespace selvar {

struct DesktopPortal::Pending {
  std::string what; // "GlobalShortcuts.BindShortcuts", for the log
  std::string path;
  guint subscription = 0;
  TimerRef timer;
  std::function<void(PortalAnswer)> done;
};

struct DesktopPortal::CallContext {
  std::weak_ptr<int> alive;
  DesktopPortal *portal;
  unsigned id; // 0 for a call without a Request
  std::string what;
};

namespace {

struct ResponseContext {
  DesktopPortal *portal;
  unsigned id;
};

std::string shortName(const char *interface) {
  std::string name(interface);
  auto dot = name.rfind('.');
  return dot == std::string::npos ? name : name.substr(dot + 1);
}

std::string errorText(GError *error) {
  if (!error) return "unknown error";
  g_dbus_error_strip_remote_error(error);
  return error->message;
}

} // namespace

VariantRef adoptVariant(GVariant *value) {
  if (!value) return nullptr;
  return VariantRef(g_variant_take_ref(value), g_variant_unref);
}

void DesktopPortal::createSession(const char *interface, double timeoutSeconds, SessionDone done) {
  const std::string token = newToken("create");
  GVariantBuilder options;
  initRequestOptions(options, token);
  g_variant_builder_add(&options, "{sv}", "session_handle_token",
                        g_variant_new_string(newToken("session").c_str()));
  std::string what = std::string(interface).substr(std::string(interface).rfind('.') + 1);
  request({interface, "CreateSession", token, g_variant_new("(a{sv})", &options), timeoutSeconds},
          [done = std::move(done), what](PortalAnswer answer) {
            if (answer.outcome != PortalAnswer::Outcome::granted)
              return done(std::nullopt, answer.detail);
            auto session = vardictString(answer.results.get(), "session_handle");
            if (!session) return done(std::nullopt, what + ".CreateSession gave no session");
            done(session, {});
          });
}

void initRequestOptions(GVariantBuilder &options, const std::string &token) {
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&options, "{sv}", "handle_token", g_variant_new_string(token.c_str()));
}

std::optional<std::string> vardictString(GVariant *dict, const char *key) {
  if (!dict) return std::nullopt;
  for (const GVariantType *type : {G_VARIANT_TYPE_STRING, G_VARIANT_TYPE_OBJECT_PATH}) {
    if (auto value = adoptVariant(g_variant_lookup_value(dict, key, type)))
      return std::string(g_variant_get_string(value.get(), nullptr));
  }
  return std::nullopt;
}

DesktopPortal::DesktopPortal(GDBusConnection *connection)
    : connection_(G_DBUS_CONNECTION(g_object_ref(connection))) {
  // ":1.42" becomes "1_42" in the portal's object paths.
  std::string name = g_dbus_connection_get_unique_name(connection_);
  if (!name.empty() && name[0] == ':') name.erase(0, 1);
  for (char &c : name)
    if (c == '.') c = '_';
  sender_ = name;
}

DesktopPortal::~DesktopPortal() {
  for (auto &[id, pending] : pending_) {
    if (pending->subscription)
      g_dbus_connection_signal_unsubscribe(connection_, pending->subscription);
    cancelTimer(pending->timer);
  }
  for (auto &[id, handler] : signals_)
    g_dbus_connection_signal_unsubscribe(connection_, id);
  g_object_unref(connection_);
}

std::unique_ptr<DesktopPortal> DesktopPortal::onSessionBus() {
  GError *error = nullptr;
  GDBusConnection *bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
  if (!bus) {
    Log::write("desktop portal: no session bus: " + errorText(error));
    g_clear_error(&error);
    return nullptr;
  }
  auto portal = std::make_unique<DesktopPortal>(bus);
  g_object_unref(bus);
  return portal;
}

bool DesktopPortal::isOffered() const {
  auto ask = [this](const char *method, GVariant *parameters) {
    return adoptVariant(g_dbus_connection_call_sync(
        connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        method, parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, nullptr));
  };
  if (auto owned = ask("NameHasOwner", g_variant_new("(s)", kBusName))) {
    gboolean has = FALSE;
    g_variant_get(owned.get(), "(b)", &has);
    if (has) return true;
  }
  auto names = ask("ListActivatableNames", nullptr);
  if (!names) return false;
  const gchar **list = nullptr;
  g_variant_get(names.get(), "(^a&s)", &list);
  bool found = false;
  for (auto **name = list; name && *name; ++name)
    found = found || g_strcmp0(*name, kBusName) == 0;
  g_free(list);
  return found;
}

std::string DesktopPortal::newToken(const char *prefix) {
  return fmt::format("selvar_{}{}", prefix, ++counter_);
}

std::string DesktopPortal::requestPath(const std::string &token) const {
  return fmt::format("{}/request/{}/{}", kObjectPath, sender_, token);
}

std::string DesktopPortal::sessionPath(const std::string &token) const {
  return fmt::format("{}/session/{}/{}", kObjectPath, sender_, token);
}

void DesktopPortal::request(PortalRequest request, std::function<void(PortalAnswer)> done) {
  const unsigned id = ++counter_;
  auto pending = std::make_unique<Pending>();
  pending->what = shortName(request.interface) + "." + request.method;
  pending->done = std::move(done);
  const double seconds = request.timeoutSeconds;
  pending->timer = services().mainQueue->scheduleTimer(
      seconds, [this, id, seconds, alive = std::weak_ptr<int>(alive_)] {
        if (alive.expired()) return;
        settle(id, {PortalAnswer::Outcome::timedOut, nullptr,
                    fmt::format("no answer within {:g} s", seconds)});
      });
  const std::string what = pending->what;
  pending_[id] = std::move(pending);
  watchResponse(id, requestPath(request.token));
  // No D-Bus time-out of its own: the main queue's is the only one, so it is the one logged.
  g_dbus_connection_call(connection_, kBusName, kObjectPath, request.interface, request.method,
                         request.parameters, G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NONE,
                         G_MAXINT, nullptr, onReply, new CallContext{alive_, this, id, what});
}

void DesktopPortal::call(const char *interface, const char *method, GVariant *parameters) {
  g_dbus_connection_call(connection_, kBusName, kObjectPath, interface, method, parameters, nullptr,
                         G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, onReply,
                         new CallContext{alive_, this, 0, shortName(interface) + "." + method});
}

void DesktopPortal::watchResponse(unsigned id, const std::string &path) {
  auto it = pending_.find(id);
  if (it == pending_.end()) return;
  if (it->second->subscription)
    g_dbus_connection_signal_unsubscribe(connection_, it->second->subscription);
  it->second->path = path;
  it->second->subscription = g_dbus_connection_signal_subscribe(
      connection_, kBusName, "org.freedesktop.portal.Request", "Response", path.c_str(), nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE, onResponse, new ResponseContext{this, id},
      [](gpointer data) { delete static_cast<ResponseContext *>(data); });
}

void DesktopPortal::onReply(GObject *source, GAsyncResult *result, gpointer data) {
  std::unique_ptr<CallContext> context(static_cast<CallContext *>(data));
  GError *error = nullptr;
  auto reply =
      adoptVariant(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error));
  if (context->alive.expired()) {
    g_clear_error(&error);
    return;
  }
  DesktopPortal &portal = *context->portal;
  if (!reply) {
    const std::string why = errorText(error);
    g_clear_error(&error);
    if (context->id == 0)
      Log::write("desktop portal: " + context->what + " failed: " + why);
    else
      portal.settle(context->id, {PortalAnswer::Outcome::failed, nullptr, why});
    return;
  }
  if (context->id == 0) return;
  // Portals older than the handle_token convention put the Request elsewhere: follow it.
  const gchar *handle = nullptr;
  g_variant_get(reply.get(), "(&o)", &handle);
  auto it = portal.pending_.find(context->id);
  if (it != portal.pending_.end() && it->second->path != handle)
    portal.watchResponse(context->id, handle);
}

void DesktopPortal::onResponse(GDBusConnection *, const gchar *, const gchar *, const gchar *,
                               const gchar *, GVariant *parameters, gpointer data) {
  auto *context = static_cast<ResponseContext *>(data);
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})"))) return;
  guint32 code = 2;
  GVariant *results = nullptr;
  g_variant_get(parameters, "(u@a{sv})", &code, &results);
  PortalAnswer answer;
  answer.results = adoptVariant(results);
  switch (code) {
  case 0:
    answer.outcome = PortalAnswer::Outcome::granted;
    break;
  case 1:
    answer.outcome = PortalAnswer::Outcome::refused;
    answer.detail = "the user said no";
    break;
  default:
    answer.outcome = PortalAnswer::Outcome::ended;
    answer.detail = fmt::format("the portal ended the request (response {})", code);
    break;
  }
  context->portal->settle(context->id, std::move(answer));
}

void DesktopPortal::settle(unsigned id, PortalAnswer answer) {
  auto it = pending_.find(id);
  if (it == pending_.end()) return;
  std::unique_ptr<Pending> pending = std::move(it->second);
  pending_.erase(it);
  if (pending->subscription)
    g_dbus_connection_signal_unsubscribe(connection_, pending->subscription);
  cancelTimer(pending->timer);
  if (answer.outcome != PortalAnswer::Outcome::granted)
    answer.detail = pending->what + ": " + answer.detail;
  pending->done(std::move(answer));
}

unsigned DesktopPortal::subscribe(const char *interface, const char *signal,
                                  SignalHandler handler) {
  auto owned = std::make_unique<SignalHandler>(std::move(handler));
  const guint id = g_dbus_connection_signal_subscribe(
      connection_, kBusName, interface, signal, kObjectPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
      onSignal, owned.get(), nullptr);
  signals_[id] = std::move(owned);
  return id;
}

void DesktopPortal::unsubscribe(unsigned subscription) {
  if (signals_.erase(subscription)) g_dbus_connection_signal_unsubscribe(connection_, subscription);
}

void DesktopPortal::onSignal(GDBusConnection *, const gchar *, const gchar *, const gchar *,
                             const gchar *, GVariant *parameters, gpointer data) {
  (*static_cast<SignalHandler *>(data))(parameters);
}

} // namespace selvar
