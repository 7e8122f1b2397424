#include "app/RewriteServerChoice.h"

#include "app/Prefs.h"
#include "platform/PlatformCapabilities.h"
#include "records/Log.h"
#include "servers/RewriteEndpoint.h"

namespace selvar {

std::optional<LocalServer::Endpoint> configuredRewriteEndpoint() {
  auto choice = RewriteEndpoint::resolve(Prefs::rewriteBaseURL(), Prefs::rewriteModel(),
                                         Prefs::rewriteAllowRemote());
  if (!choice.endpoint) {
    Log::write(choice.problem);
    return std::nullopt;
  }
  if (!platformCapabilities().rewriteStartCommand.empty())
    choice.endpoint->startCommand = platformCapabilities().rewriteStartCommand;
  return choice.endpoint;
}

} // namespace selvar
