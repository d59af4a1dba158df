#include "Support/UUID.h"

#include <array>
#include <cstdint>
#include <random>
#include <sys/random.h>

namespace zeph {

std::string makeUUID()
{
    std::array<std::uint8_t, 16> bytes {};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        // Only a kernel without getrandom gets here.
        std::random_device device;
        for (auto& byte : bytes)
            byte = static_cast<std::uint8_t>(device());
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    constexpr char hexDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10)
            text += '-';
        text += hexDigits[bytes[index] >> 4];
        text += hexDigits[bytes[index] & 0x0F];
    }
    return text;
}

} // namespace zeph
