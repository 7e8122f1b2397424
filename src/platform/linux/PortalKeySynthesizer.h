#pragma once
// The paste keystroke through the desktop portal's remote desktop (GNOME, KDE Plasma), for
// compositors without a virtual keyboard. The desktop asks the user once for a keyboard-only
// session that persists until revoked; the restore token it returns is kept under the data root
// and sent back at the next start, so later starts are granted without a dialog. The grant is
// asked for at start rather than at the first paste, so the first dictation is pasted too.
// Keystrokes are evdev key codes, which the desktop maps through the user's own layout.

#include "platform/KeySynthesizer.h"
#include "platform/linux/DesktopPortal.h"

#include <filesystem>
#include <memory>
#include <string>

namespace selvar {

class PortalKeySynthesizer : public KeySynthesizer {
public:
  // How long the portal may take to create the session or take the device choice, and how long
  // the user may take over the dialog.
  static constexpr double kCallSeconds = 10;
  static constexpr double kDialogSeconds = 120;

  enum class Stage { idle, asking, ready, unavailable };

  // The restore token's file, in the data root.
  static constexpr const char *kTokenFileName = "remote-desktop-token";

  explicit PortalKeySynthesizer(DesktopPortal &portal) : portal_(portal) {}

  // Asks for the keyboard, with the restore token kept in tokenFile; once only.
  void start(std::filesystem::path tokenFile);
  // Sends the chord's presses now and its releases holdSeconds later through the main queue,
  // without blocking. False, with nothing sent, until the desktop has granted the keyboard.
  bool postKeystroke(int keyCode, std::uint64_t flags, double holdSeconds) override;
  bool canPostKeystrokes() const override { return stage_ == Stage::ready; }

  Stage stage() const { return stage_; }

private:
  void selectDevices();
  void startSession();
  void granted(GVariant *results);
  void fail(const std::string &why);
  void notifyKey(std::uint32_t evdevKey, bool pressed);
  std::string readToken() const;
  void keepToken(const std::string &token) const;

  DesktopPortal &portal_;
  std::filesystem::path tokenFile_;
  Stage stage_ = Stage::idle;
  std::string session_;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

} // namespace selvar
