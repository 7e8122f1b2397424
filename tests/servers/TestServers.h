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

// Waits (bounded) for a flag set by a completion on another thread.
template <typename Pred> bool waitFor(Pred done, double realSeconds = 5) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(realSeconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

struct SeenRequest {
  std::string method;
  std::string path;
  std::string target; // path with query, as sent
  std::string contentType;
  std::string body;
  std::vector<std::string> formFields; // multipart field names, in name order
};

class TestHttpServer {
public:
  using Handler = std::function<void(const httplib::Request &, httplib::Response &)>;

  TestHttpServer() = default;
  ~TestHttpServer() { stop(); }

  void get(const std::string &path, Handler h) { server_.Get(path, wrap(std::move(h))); }
  void post(const std::string &path, Handler h) { server_.Post(path, wrap(std::move(h))); }
  void put(const std::string &path, Handler h) { server_.Put(path, wrap(std::move(h))); }
  void del(const std::string &path, Handler h) { server_.Delete(path, wrap(std::move(h))); }
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
    // stop() is a no-op until the accept loop runs, so let it start first.
    waitFor([&] { return server_.is_running(); });
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
        SeenRequest seen{req.method, req.path, req.target, req.get_header_value("Content-Type"),
                         req.body,   {}};
        for (const auto &[name, part] : req.files)
          seen.formFields.push_back(name);
        seen_.push_back(std::move(seen));
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

// A bare HTTP/1.1 server that keeps the exact bytes of each request (cpp-httplib takes
// multipart bodies apart) and answers every one with the same 200 reply.
class RawCaptureServer {
public:
  explicit RawCaptureServer(std::string replyBody) : reply_(std::move(replyBody)) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    ::listen(fd_, 8);
    socklen_t len = sizeof addr;
    ::getsockname(fd_, reinterpret_cast<sockaddr *>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~RawCaptureServer() {
    ::shutdown(fd_, SHUT_RDWR);
    thread_.join();
    ::close(fd_);
  }
  int port() const { return port_; }
  // Header block (up to and including the blank line) and body of each request.
  std::vector<std::pair<std::string, std::string>> requests() const {
    std::lock_guard lock(mutex_);
    return seen_;
  }

private:
  void serve() {
    for (;;) {
      int c = ::accept(fd_, nullptr, nullptr);
      if (c < 0) return;
      std::string data, chunk(65536, '\0');
      std::size_t headerEnd = std::string::npos, length = 0;
      for (;;) {
        ssize_t n = ::recv(c, chunk.data(), chunk.size(), 0);
        if (n <= 0) break;
        data.append(chunk.data(), static_cast<std::size_t>(n));
        if (headerEnd == std::string::npos &&
            (headerEnd = data.find("\r\n\r\n")) != std::string::npos) {
          headerEnd += 4;
          auto at = data.find("Content-Length: ");
          if (at != std::string::npos && at < headerEnd) length = std::stoul(data.substr(at + 16));
        }
        if (headerEnd != std::string::npos && data.size() >= headerEnd + length) break;
      }
      if (headerEnd != std::string::npos) {
        std::lock_guard lock(mutex_);
        seen_.emplace_back(data.substr(0, headerEnd), data.substr(headerEnd));
      }
      std::string answer = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                           std::to_string(reply_.size()) + "\r\nConnection: close\r\n\r\n" + reply_;
      ::send(c, answer.data(), answer.size(), MSG_NOSIGNAL);
      ::close(c);
    }
  }

  std::string reply_;
  int fd_ = -1;
  int port_ = 0;
  std::thread thread_;
  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, std::string>> seen_;
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
