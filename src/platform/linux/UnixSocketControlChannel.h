#pragma once
// The control channel as a Unix stream socket beside the single-instance lock ("selvar.sock"
// next to "selvar.lock"), so it lives in the same private per-user folder. Only the copy that
// holds the claim listens, so a socket file left by a crash is simply replaced. The listener
// runs on the GLib main loop; a sender blocks for at most a few seconds for the answer.

#include "platform/ControlChannel.h"

#include <filesystem>
#include <glib.h>
#include <map>
#include <string>

namespace selvar {

class UnixSocketControlChannel : public ControlChannel {
public:
  static constexpr int kAnswerTimeoutMs = 3000;

  explicit UnixSocketControlChannel(std::filesystem::path socketFile);
  ~UnixSocketControlChannel() override;
  UnixSocketControlChannel(const UnixSocketControlChannel &) = delete;
  UnixSocketControlChannel &operator=(const UnixSocketControlChannel &) = delete;

  // The socket beside a lock file: the lock's name with ".sock" for its extension.
  static std::filesystem::path besideLock(const std::filesystem::path &lockFile);

  bool listen(Receiver receiver) override;
  ControlSendResult send(const std::string &word) override;

private:
  struct Client {
    guint watch = 0;
    std::string received;
  };
  static gboolean onListenReadable(gint fd, GIOCondition condition, gpointer self);
  static gboolean onClientReadable(gint fd, GIOCondition condition, gpointer self);
  void accept();
  bool readClient(int fd);
  void answer(int fd, const std::string &line);
  void dropClient(int fd);

  std::filesystem::path path_;
  Receiver receiver_;
  int listenFd_ = -1;
  guint listenWatch_ = 0;
  std::map<int, Client> clients_;
};

} // namespace selvar
