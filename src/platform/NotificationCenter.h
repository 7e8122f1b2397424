#pragma once
// Named, object-less notifications delivered synchronously on the posting thread. One
// in-process implementation serves both platforms: nothing here needs the OS.

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace selvar {

inline constexpr const char *kTriggerChangedNotification = "Selvar.triggerChanged";
inline constexpr const char *kCancelKeyChangedNotification = "Selvar.cancelKeyChanged";

class NotificationCenter {
public:
  using Token = std::uint64_t;
  Token observe(std::string name, std::function<void()> handler);
  void removeObserver(Token token);
  // Calls every observer of name, in registration order, before returning.
  void post(const std::string &name);

private:
  struct Observer {
    Token token;
    std::string name;
    std::function<void()> handler;
  };
  std::mutex mutex_;
  std::vector<Observer> observers_;
  Token next_ = 1;
};

} // namespace selvar
