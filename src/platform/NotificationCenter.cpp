#include "platform/NotificationCenter.h"

#include <algorithm>

namespace selvar {

NotificationCenter::Token NotificationCenter::observe(std::string name,
                                                      std::function<void()> handler) {
  std::lock_guard lock(mutex_);
  Token token = next_++;
  observers_.push_back({token, std::move(name), std::move(handler)});
  return token;
}

void NotificationCenter::removeObserver(Token token) {
  std::lock_guard lock(mutex_);
  std::erase_if(observers_, [token](const Observer &o) { return o.token == token; });
}

void NotificationCenter::post(const std::string &name) {
  // Handlers run outside the lock so they may observe, remove or post themselves.
  std::vector<std::function<void()>> handlers;
  {
    std::lock_guard lock(mutex_);
    for (const auto &o : observers_)
      if (o.name == name) handlers.push_back(o.handler);
  }
  for (auto &h : handlers)
    h();
}

} // namespace selvar
