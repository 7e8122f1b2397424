#include "platform/linux/PortalKeySynthesizer.h"

#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "platform/linux/VirtualKeyChord.h"
#include "records/Log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

namespace selvar {

namespace {

constexpr const char *kInterface = "org.freedesktop.portal.RemoteDesktop";
constexpr guint32 kKeyboard = 1;
constexpr guint32 kPersistUntilRevoked = 2;
constexpr const char *kCopyOnly = "; dictated text is copied for Ctrl+V";

// A restore token is an opaque printable string from the portal; anything else in the file is
// not one.
bool plausibleToken(const std::string &token) {
  if (token.empty() || token.size() > 512) return false;
  for (unsigned char c : token)
    if (c < 0x21 || c > 0x7e) return false;
  return true;
}

} // namespace

void PortalKeySynthesizer::start(std::filesystem::path tokenFile) {
  if (stage_ != Stage::idle) return;
  tokenFile_ = std::move(tokenFile);
  stage_ = Stage::asking;
  portal_.createSession(kInterface, kCallSeconds,
                        [this](std::optional<std::string> session, const std::string &why) {
                          if (!session) return fail(why);
                          session_ = *session;
                          selectDevices();
                        });
}

void PortalKeySynthesizer::selectDevices() {
  const std::string token = portal_.newToken("devices");
  GVariantBuilder options;
  initRequestOptions(options, token);
  g_variant_builder_add(&options, "{sv}", "types", g_variant_new_uint32(kKeyboard));
  g_variant_builder_add(&options, "{sv}", "persist_mode",
                        g_variant_new_uint32(kPersistUntilRevoked));
  if (auto kept = readToken(); !kept.empty())
    g_variant_builder_add(&options, "{sv}", "restore_token", g_variant_new_string(kept.c_str()));
  portal_.request({kInterface, "SelectDevices", token,
                   g_variant_new("(oa{sv})", session_.c_str(), &options), kCallSeconds},
                  [this](PortalAnswer answer) {
                    if (answer.outcome != PortalAnswer::Outcome::granted)
                      return fail(answer.detail);
                    startSession();
                  });
}

void PortalKeySynthesizer::startSession() {
  const std::string token = portal_.newToken("start");
  GVariantBuilder options;
  initRequestOptions(options, token);
  portal_.request({kInterface, "Start", token,
                   g_variant_new("(osa{sv})", session_.c_str(), "", &options), kDialogSeconds},
                  [this](PortalAnswer answer) {
                    if (answer.outcome != PortalAnswer::Outcome::granted)
                      return fail(answer.detail);
                    granted(answer.results.get());
                  });
}

void PortalKeySynthesizer::granted(GVariant *results) {
  guint32 devices = 0;
  if (!results || !g_variant_lookup(results, "devices", "u", &devices) || !(devices & kKeyboard))
    return fail("the desktop granted no keyboard");
  // The token sent at this start is used up either way; a new one comes only with persistence.
  auto token = vardictString(results, "restore_token");
  keepToken(token.value_or(""));
  stage_ = Stage::ready;
  Log::write(std::string("remote desktop: keyboard granted for the paste keystroke") +
             (token ? "; kept for later starts" : "; the desktop will ask again next time"));
}

void PortalKeySynthesizer::fail(const std::string &why) {
  stage_ = Stage::unavailable;
  Log::write("remote desktop: " + why + kCopyOnly);
}

bool PortalKeySynthesizer::postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) {
  if (stage_ != Stage::ready) return false;
  auto chord = planChord(keyCode, flags, ModifierMasks{});
  if (!chord) return false;
  for (const auto &step : chord->press)
    notifyKey(step.evdevKey, true);
  // Calls on one connection arrive in order, so the releases cannot overtake the presses.
  services().mainQueue->asyncAfter(
      holdSeconds, [this, release = chord->release, alive = std::weak_ptr<int>(alive_)] {
        if (alive.expired()) return;
        for (const auto &step : release)
          notifyKey(step.evdevKey, false);
      });
  return true;
}

void PortalKeySynthesizer::notifyKey(std::uint32_t evdevKey, bool pressed) {
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  portal_.call(kInterface, "NotifyKeyboardKeycode",
               g_variant_new("(oa{sv}iu)", session_.c_str(), &options,
                             static_cast<gint32>(evdevKey), pressed ? 1u : 0u));
}

std::string PortalKeySynthesizer::readToken() const {
  std::ifstream in(tokenFile_);
  if (!in) return {};
  std::string token;
  std::getline(in, token);
  if (plausibleToken(token)) return token;
  Log::write("remote desktop: ignoring an unreadable restore token in " + tokenFile_.string() +
             "; the desktop will ask again");
  return {};
}

void PortalKeySynthesizer::keepToken(const std::string &token) const {
  std::error_code error;
  if (token.empty()) {
    std::filesystem::remove(tokenFile_, error);
    return;
  }
  std::filesystem::create_directories(tokenFile_.parent_path(), error);
  const auto partial = tokenFile_.string() + ".partial";
  // It stands for a standing grant to type into the session: for this user's eyes only.
  const int fd = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const std::string line = token + "\n";
  const bool written =
      fd >= 0 && ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  if (fd >= 0) ::close(fd);
  if (!written) {
    Log::write("remote desktop: cannot keep the restore token in " + partial + ": " +
               std::strerror(errno) + "; the desktop will ask again next time");
    return;
  }
  std::filesystem::rename(partial, tokenFile_, error);
  if (error)
    Log::write("remote desktop: cannot keep the restore token in " + tokenFile_.string() + ": " +
               error.message());
}

} // namespace selvar
