#pragma once

#include <string>

namespace zeph {

// A random (version 4) UUID in its upper-case text form, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
// Safe on any thread and in a forked child: every call draws fresh bytes from the kernel.
std::string makeUUID();

} // namespace zeph
