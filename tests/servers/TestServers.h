#pragma once
// Real HTTP servers for tests, on 127.0.0.1 ephemeral ports, recording what they receive; a
// port that refuses connections; and pumping the manual main queue while real I/O completes.

#include "platform/fake/ManualMainQueue.h"
#include "records/Log.h"

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <httplib.h>
#include <mutex>
#include <netinet/in.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace selvar::testing {

struct SeenRequest {
  std::string method;
  std::string path;
  std::string target; // path with query, as sent
  std::string contentType;
  std::string body;
};

class TestHttpServer {
public:
  using Handler = std::function<void(const httplib::Request &, httplib::Response &)>;

  TestHttpServer() = default;
  ~TestHttpServer() { stop(); }

  void get(const std::string &path, Handler h) { server_.Get(path, wrap(std::move(h))); }
  void post(const std::string &path, Handler h) { server_.Post(path, wrap(std::move(h))); }
  // Answers every request to path with this status and body.
  void reply(const std::string &path, int status, std::string body,
             std::string type = "application/json") {
    Handler h = [=](const httplib::Request &, httplib::Response &res) {
      res.status = status;
      res.set_content(body, type);
    };
    get(path, h);
    post(path, h);
  }
  // Handlers that call waitForRelease() hang until release() or stop().
  void waitForRelease() {
    std::unique_lock lock(mutex_);
    gate_.wait_for(lock, std::chrono::seconds(10), [&] { return released_; });
  }
  void release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    gate_.notify_all();
  }

  int start() {
    // One request per connection, so that stop() never waits out an idle keep-alive.
    server_.set_keep_alive_max_count(1);
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    return port_;
  }
  void stop() {
    release();
    if (!thread_.joinable()) return;
    server_.stop();
    thread_.join();
  }
  int port() const { return port_; }
  std::vector<SeenRequest> requests() const {
    std::lock_guard lock(mutex_);
    return seen_;
  }
  std::size_t count() const { return requests().size(); }

private:
  Handler wrap(Handler h) {
    return [this, h = std::move(h)](const httplib::Request &req, httplib::Response &res) {
      {
        std::lock_guard lock(mutex_);
        seen_.push_back(
            {req.method, req.path, req.target, req.get_header_value("Content-Type"), req.body});
      }
      h(req, res);
    };
  }

  httplib::Server server_;
  std::thread thread_;
  int port_ = 0;
  mutable std::mutex mutex_;
  std::condition_variable gate_;
  bool released_ = false;
  std::vector<SeenRequest> seen_;
};

// A loopback port bound but not listening: connecting to it is refused, and no other
// process can take it while this object lives.
class RefusingPort {
public:
  RefusingPort() {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    ::getsockname(fd_, reinterpret_cast<sockaddr *>(&addr), &len);
    port_ = ntohs(addr.sin_port);
  }
  ~RefusingPort() { ::close(fd_); }
  int port() const { return port_; }

private:
  int fd_ = -1;
  int port_ = 0;
};

// Runs the main queue until done() holds, waiting for real network replies in between; false
// after realSeconds without it.
inline bool pumpUntil(ManualMainQueue &queue, const std::function<bool()> &done,
                      double realSeconds = 5) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(realSeconds);
  for (;;) {
    queue.runUntilIdle();
    if (done()) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// Waits (bounded) for a flag set by a completion on another thread.
template <typename Pred> bool waitFor(Pred done, double realSeconds = 5) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(realSeconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

inline std::string logText() {
  Log::flush();
  std::ifstream in(Log::directory() / "selvar.log");
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

inline std::string readAll(const std::filesystem::path &p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

} // namespace selvar::testing
