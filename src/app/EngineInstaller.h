#pragma once
// Reads and drives the model downloads of the server engines for the settings window. The
// blocking requests run off the main queue; while a download runs its progress is read again
// every second, and each state is published on the main queue.

#include "app/SettingsModel.h"
#include "platform/MainQueue.h"
#include "servers/LocalServer.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace selvar {

class EngineInstaller {
public:
  using Update = std::function<void(const std::string &engineId, const EngineInstallState &)>;
  using Background = std::function<void(std::function<void()>)>;

  EngineInstaller(Background background, Update update,
                  LocalServer::Endpoint server = LocalServer::transcriptionEndpoint());
  // Stops following downloads; answers still in flight are dropped.
  ~EngineInstaller();
  EngineInstaller(const EngineInstaller &) = delete;
  EngineInstaller &operator=(const EngineInstaller &) = delete;

  // Reads the state of every installable engine once (when the window opens).
  void refresh();
  // Asks the server to download the engine's model, then follows the download.
  void install(const std::string &engineId);

  static constexpr double kPollInterval = 1.0;

private:
  void request(const std::string &engineId, const std::string &model, const std::string &method);
  void publish(const std::string &engineId, const std::string &model, EngineInstallState state);

  Background background_;
  Update update_;
  LocalServer::Endpoint server_;
  std::map<std::string, TimerRef> polls_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace selvar
