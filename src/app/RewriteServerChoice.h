#pragma once
// The rewrite server the preferences name, for the dictation path and "--rewrite-test".

#include "servers/LocalServer.h"

#include <optional>

namespace selvar {

// Nothing (with a log line saying why) when the address is malformed or names another machine
// without the user's consent.
std::optional<LocalServer::Endpoint> configuredRewriteEndpoint();

} // namespace selvar
