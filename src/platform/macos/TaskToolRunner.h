#pragma once
// Runs a system tool (tccutil) to completion with NSTask, for the privacy-grant reset.

#include "permissions/Permissions.h"

namespace selvar {

// Blocks until the tool exits; its output is discarded.
ToolExit runToolAndWait(const std::string &executable, const std::vector<std::string> &arguments);

} // namespace selvar
