#pragma once

#include <string>
#include <vector>

namespace zeph {

// The password managers of the Linux desktop by application id: by default nothing expands in them
// and nothing copied from them is remembered.
inline std::vector<std::string> passwordManagerIDs()
{
    return { "1password", "bitwarden", "keepassxc", "org.keepassxc.keepassxc", "seahorse",
        "org.gnome.seahorse.application", "kwalletmanager5" };
}

} // namespace zeph
