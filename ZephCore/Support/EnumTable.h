#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace zeph {

// Each enumeration with text raw values specialises this with its table, in declaration order.
template<typename Enum>
inline constexpr auto enumNames = std::array<std::pair<Enum, std::string_view>, 0> {};

template<typename Enum>
constexpr std::string_view toString(Enum value)
{
    for (auto& [candidate, name] : enumNames<Enum>) {
        if (candidate == value)
            return name;
    }
    return {};
}

template<typename Enum>
constexpr std::optional<Enum> fromString(std::string_view name)
{
    for (auto& [candidate, candidateName] : enumNames<Enum>) {
        if (candidateName == name)
            return candidate;
    }
    return std::nullopt;
}

template<typename Enum>
constexpr auto allCases()
{
    std::array<Enum, enumNames<Enum>.size()> cases {};
    std::transform(enumNames<Enum>.begin(), enumNames<Enum>.end(), cases.begin(),
        [](auto& entry) { return entry.first; });
    return cases;
}

// True when the table lists every case once, in declaration order from zero.
template<typename Enum>
constexpr bool isCompleteEnumTable()
{
    for (std::size_t index = 0; index < enumNames<Enum>.size(); ++index) {
        if (static_cast<std::size_t>(enumNames<Enum>[index].first) != index)
            return false;
    }
    return !enumNames<Enum>.empty();
}

} // namespace zeph
