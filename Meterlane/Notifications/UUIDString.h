#pragma once

#include <functional>
#include <string>

namespace gaugely {

// Makes the unique part of notification identifiers; tests supply a counter.
using UUIDSource = std::function<std::string()>;

// A random (version 4) UUID in the platform's upper-case form,
// e.g. "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
std::string randomUUIDString();

}  // namespace gaugely
