#include "platform/linux/UnixSocketControlChannel.h"

#include "records/Log.h"

#include <cerrno>
#include <cstring>
#include <glib-unix.h>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace selvar {

namespace fs = std::filesystem;

namespace {

// A word is a few letters; anything longer is not a sender of ours.
constexpr std::size_t kMaxLine = 64;
// Senders that connect and never finish must not pile up open descriptors.
constexpr std::size_t kMaxClients = 8;

std::string errorText() {
  return std::strerror(errno);
}

std::optional<sockaddr_un> addressOf(const fs::path &path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string text = path.string();
  if (text.size() >= sizeof address.sun_path) return std::nullopt;
  std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
  return address;
}

std::string trimmed(std::string text) {
  const auto end = text.find_first_of("\r\n");
  if (end != std::string::npos) text.resize(end);
  return text;
}

} // namespace

UnixSocketControlChannel::UnixSocketControlChannel(fs::path socketFile)
    : path_(std::move(socketFile)) {}

UnixSocketControlChannel::~UnixSocketControlChannel() {
  while (!clients_.empty())
    dropClient(clients_.begin()->first);
  if (listenWatch_) g_source_remove(listenWatch_);
  if (listenFd_ >= 0) {
    ::close(listenFd_);
    std::error_code ec;
    fs::remove(path_, ec);
  }
}

fs::path UnixSocketControlChannel::besideLock(const fs::path &lockFile) {
  return fs::path(lockFile).replace_extension(".sock");
}

bool UnixSocketControlChannel::listen(Receiver receiver) {
  receiver_ = std::move(receiver);
  if (listenFd_ >= 0) return true;
  auto address = addressOf(path_);
  if (!address) {
    Log::write("control channel: socket path too long: " + path_.string());
    return false;
  }
  listenFd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (listenFd_ < 0) {
    Log::write("control channel: cannot create a socket: " + errorText());
    return false;
  }
  // Only the claim holder gets here, so an existing file is a leftover of a crashed copy.
  ::unlink(path_.c_str());
  const mode_t previous = ::umask(0177);
  const bool bound =
      ::bind(listenFd_, reinterpret_cast<const sockaddr *>(&*address), sizeof *address) == 0;
  ::umask(previous);
  if (!bound || ::listen(listenFd_, 4) != 0) {
    Log::write("control channel: cannot listen on " + path_.string() + ": " + errorText());
    ::close(listenFd_);
    listenFd_ = -1;
    return false;
  }
  listenWatch_ = g_unix_fd_add(listenFd_, G_IO_IN, onListenReadable, this);
  Log::write("control channel listening on " + path_.string());
  return true;
}

gboolean UnixSocketControlChannel::onListenReadable(gint, GIOCondition, gpointer self) {
  static_cast<UnixSocketControlChannel *>(self)->accept();
  return G_SOURCE_CONTINUE;
}

void UnixSocketControlChannel::accept() {
  const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return; // the sender gave up already
  if (clients_.size() >= kMaxClients) {
    ::close(fd);
    return;
  }
  clients_[fd].watch = g_unix_fd_add(fd, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                                     onClientReadable, this);
}

gboolean UnixSocketControlChannel::onClientReadable(gint fd, GIOCondition, gpointer self) {
  auto *channel = static_cast<UnixSocketControlChannel *>(self);
  if (channel->readClient(fd)) return G_SOURCE_CONTINUE;
  channel->clients_[fd].watch = 0; // removed by returning G_SOURCE_REMOVE
  channel->dropClient(fd);
  return G_SOURCE_REMOVE;
}

// True while more of the line is to come.
bool UnixSocketControlChannel::readClient(int fd) {
  Client &client = clients_[fd];
  char buffer[kMaxLine];
  const ssize_t n = ::read(fd, buffer, sizeof buffer);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return true;
  if (n > 0) client.received.append(buffer, static_cast<std::size_t>(n));
  const bool complete = n <= 0 || client.received.find('\n') != std::string::npos;
  if (!complete && client.received.size() <= kMaxLine) return true;
  if (client.received.size() > kMaxLine) {
    Log::write("control channel: dropped an over-long message");
    return false;
  }
  const std::string word = trimmed(client.received);
  if (!word.empty()) answer(fd, receiver_ && receiver_(word) ? "ok\n" : "unknown\n");
  return false;
}

void UnixSocketControlChannel::answer(int fd, const std::string &line) {
  // A few bytes into an empty socket buffer; a sender that is gone just misses them.
  [[maybe_unused]] ssize_t written = ::send(fd, line.data(), line.size(), MSG_NOSIGNAL);
}

void UnixSocketControlChannel::dropClient(int fd) {
  auto it = clients_.find(fd);
  if (it == clients_.end()) return;
  if (it->second.watch) g_source_remove(it->second.watch);
  clients_.erase(it);
  ::close(fd);
}

ControlSendResult UnixSocketControlChannel::send(const std::string &word) {
  auto address = addressOf(path_);
  if (!address) return {ControlDelivery::failed, "socket path too long: " + path_.string()};
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return {ControlDelivery::failed, "cannot create a socket: " + errorText()};
  struct Closer {
    int fd;
    ~Closer() { ::close(fd); }
  } closer{fd};
  if (::connect(fd, reinterpret_cast<const sockaddr *>(&*address), sizeof *address) != 0) {
    if (errno == ENOENT || errno == ECONNREFUSED) return {ControlDelivery::noRunningCopy, {}};
    return {ControlDelivery::failed, path_.string() + ": " + errorText()};
  }
  const std::string line = word + "\n";
  if (::send(fd, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
    return {ControlDelivery::failed, "cannot send: " + errorText()};
  ::shutdown(fd, SHUT_WR);
  std::string reply;
  pollfd readable{fd, POLLIN, 0};
  while (reply.find('\n') == std::string::npos) {
    const int ready = ::poll(&readable, 1, kAnswerTimeoutMs);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return {ControlDelivery::failed, "no answer within 3 seconds"};
    char buffer[32];
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n <= 0) break;
    reply.append(buffer, static_cast<std::size_t>(n));
    if (reply.size() > kMaxLine) break;
  }
  const std::string answer = trimmed(reply);
  if (answer == "ok") return {ControlDelivery::delivered, {}};
  if (answer == "unknown") return {ControlDelivery::notUnderstood, {}};
  return {ControlDelivery::failed, "unexpected answer \"" + answer + "\""};
}

} // namespace selvar
