#include "platform/linux/PipeHandOver.h"

#include "platform/MainQueue.h"
#include "platform/Services.h"
#include "records/Log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <glib-unix.h>
#include <unistd.h>

namespace selvar::PipeHandOver {

namespace {

struct Transfer {
  int fd = -1;
  std::shared_ptr<const std::vector<std::uint8_t>> bytes;
  std::string what;
  std::size_t done = 0;
  guint watch = 0;
  TimerRef giveUp;
};

void finish(Transfer *transfer) {
  if (transfer->watch) g_source_remove(transfer->watch);
  cancelTimer(transfer->giveUp);
  close(transfer->fd);
  delete transfer;
}

// Writes what the pipe takes now. True when nothing is left or writing is pointless.
bool writeSome(Transfer &t) {
  while (t.done < t.bytes->size()) {
    ssize_t n = write(t.fd, t.bytes->data() + t.done, t.bytes->size() - t.done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return false;
    if (n <= 0) {
      Log::write("clipboard: could not hand over " + t.what + ": " + std::strerror(errno));
      return true;
    }
    t.done += static_cast<std::size_t>(n);
  }
  return true;
}

gboolean onWritable(gint, GIOCondition, gpointer data) {
  auto *transfer = static_cast<Transfer *>(data);
  if (!writeSome(*transfer)) return G_SOURCE_CONTINUE;
  transfer->watch = 0; // removed by returning G_SOURCE_REMOVE
  finish(transfer);
  return G_SOURCE_REMOVE;
}

} // namespace

void start(int fd, std::shared_ptr<const std::vector<std::uint8_t>> bytes, std::string what) {
  auto *transfer = new Transfer{fd, std::move(bytes), std::move(what), 0, 0, nullptr};
  int flags = fcntl(fd, F_GETFL);
  if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) != 0) {
    Log::write("clipboard: could not hand over " + transfer->what + ": " + std::strerror(errno));
    finish(transfer);
    return;
  }
  if (writeSome(*transfer)) {
    finish(transfer);
    return;
  }
  transfer->watch = g_unix_fd_add(fd, static_cast<GIOCondition>(G_IO_OUT | G_IO_ERR | G_IO_HUP),
                                  onWritable, transfer);
  transfer->giveUp = services().mainQueue->scheduleTimer(kGiveUpSeconds, [transfer] {
    Log::write("clipboard: gave up handing over " + transfer->what + ": the reader took " +
               std::to_string(transfer->done) + " of " + std::to_string(transfer->bytes->size()) +
               " bytes in " + std::to_string(static_cast<int>(kGiveUpSeconds)) + " s");
    transfer->giveUp = nullptr;
    finish(transfer);
  });
}

} // namespace selvar::PipeHandOver
