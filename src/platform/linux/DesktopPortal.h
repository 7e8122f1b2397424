#pragma once
// The desktop portal (xdg-desktop-portal) on a D-Bus connection. Its interactive calls answer
// twice: the method returns the path of a Request object at once, and the outcome comes later
// as that object's Response signal, perhaps after the user answered a dialog. A request here
// is subscribed to its Response before the call goes out (so a fast answer is never missed),
// and gives up after a time-out kept by the main queue, so a portal that never answers cannot
// leave Selvar waiting. Everything runs on the main thread.

#include <functional>
#include <gio/gio.h>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace selvar {

// An owned reference on a GVariant.
using VariantRef = std::shared_ptr<GVariant>;
// Takes over the caller's reference (a floating one is sunk first); nothing stays nothing.
VariantRef adoptVariant(GVariant *value);

struct PortalAnswer {
  // The Response codes (0 success, 1 cancelled by the user, 2 ended otherwise), then the
  // failures of the call itself and the time-out.
  enum class Outcome { granted, refused, ended, failed, timedOut };
  Outcome outcome = Outcome::failed;
  VariantRef results; // the Response's a{sv}, for granted
  std::string detail; // why, for everything but granted
};

struct PortalRequest {
  const char *interface = nullptr; // "org.freedesktop.portal.GlobalShortcuts"
  const char *method = nullptr;
  std::string token;              // the handle_token the parameters carry
  GVariant *parameters = nullptr; // floating; consumed by the call
  double timeoutSeconds = 10;
};

class DesktopPortal {
public:
  static constexpr const char *kBusName = "org.freedesktop.portal.Desktop";
  static constexpr const char *kObjectPath = "/org/freedesktop/portal/desktop";

  // Takes a reference on the connection.
  explicit DesktopPortal(GDBusConnection *connection);
  ~DesktopPortal();
  DesktopPortal(const DesktopPortal &) = delete;
  DesktopPortal &operator=(const DesktopPortal &) = delete;

  // The user's session bus; nothing, with a log line, when there is none.
  static std::unique_ptr<DesktopPortal> onSessionBus();

  // Whether the portal runs on this bus or the bus can start it. Asks the bus itself, which
  // answers at once; the portal's interfaces are only known from the first call to them.
  bool isOffered() const;

  // A fresh token, valid as an object path element, for handle_token or session_handle_token.
  std::string newToken(const char *prefix);
  // Where the portal puts the Request (or Session) object for a token of this connection.
  std::string requestPath(const std::string &token) const;
  std::string sessionPath(const std::string &token) const;

  // Calls the method and reports its Response (or why there is none) exactly once, unless
  // this object is gone by then.
  void request(PortalRequest request, std::function<void(PortalAnswer)> done);
  // CreateSession on the interface: done gets the session's handle, or nothing and why.
  using SessionDone =
      std::function<void(std::optional<std::string> session, const std::string &why)>;
  void createSession(const char *interface, double timeoutSeconds, SessionDone done);
  // A call without a Request (NotifyKeyboardKeycode); a failure is logged. Calls go out in
  // the order they were made.
  void call(const char *interface, const char *method, GVariant *parameters);

  // Signals of the portal object; the handler gets the signal's parameters.
  using SignalHandler = std::function<void(GVariant *parameters)>;
  unsigned subscribe(const char *interface, const char *signal, SignalHandler handler);
  void unsubscribe(unsigned subscription);

private:
  struct Pending;
  struct CallContext;
  static void onReply(GObject *source, GAsyncResult *result, gpointer data);
  static void onResponse(GDBusConnection *, const gchar *, const gchar *, const gchar *,
                         const gchar *, GVariant *parameters, gpointer data);
  static void onSignal(GDBusConnection *, const gchar *, const gchar *, const gchar *,
                       const gchar *, GVariant *parameters, gpointer data);
  void watchResponse(unsigned id, const std::string &path);
  void settle(unsigned id, PortalAnswer answer);

  GDBusConnection *connection_;
  std::string sender_; // the connection's unique name as it appears in object paths
  unsigned counter_ = 0;
  std::map<unsigned, std::unique_ptr<Pending>> pending_;
  std::map<unsigned, std::unique_ptr<SignalHandler>> signals_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

// Starts the a{sv} options of a request with its handle_token.
void initRequestOptions(GVariantBuilder &options, const std::string &token);

// Reads a string-like entry ("s" or "o") of an a{sv}; nothing when absent or of another type.
std::optional<std::string> vardictString(GVariant *dict, const char *key);

} // namespace selvar
