#pragma once
// An HttpSender that keeps every request with the thread that made it and answers only when
// the test says so, on whichever thread the test answers from (standing in for the worker).

#include "servers/HttpClient.h"

#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace selvar::testing {

class RecordingHttpSender : public HttpSender {
public:
  struct Sent {
    HttpRequest request;
    std::thread::id thread;
  };
  using Answer = std::function<HttpReply(const HttpRequest &)>;

  void send(HttpRequest request, Completion completion) override {
    std::lock_guard lock(mutex_);
    sent_.push_back({request, std::this_thread::get_id()});
    waiting_.push_back({std::move(request), std::move(completion)});
  }
  std::vector<Sent> sent() const {
    std::lock_guard lock(mutex_);
    return sent_;
  }
  std::size_t count() const { return sent().size(); }
  // Answers the oldest unanswered request; false when none waits.
  bool answerNext(const Answer &answer) {
    std::unique_lock lock(mutex_);
    if (waiting_.empty()) return false;
    auto [request, completion] = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    completion(answer(request));
    return true;
  }
  bool answerNext(int status, std::string body = {}) {
    return answerNext([&](const HttpRequest &) {
      HttpReply reply;
      reply.status = status;
      reply.body = body;
      return reply;
    });
  }

private:
  mutable std::mutex mutex_;
  std::vector<Sent> sent_;
  std::deque<std::pair<HttpRequest, Completion>> waiting_;
};

} // namespace selvar::testing
