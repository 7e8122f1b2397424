#pragma once
// Random (version 4) UUIDs in the platform's upper-case string form.

#include <string>

namespace selvar {

// For example "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
std::string makeUuidString();

} // namespace selvar
