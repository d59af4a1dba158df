#pragma once

#include "Support/Json.h"

#include <string>

// Helpers of the tests of records and their JSON coding.
namespace zeph {

// Test input is known to be JSON; a typo in it fails the test at once.
inline Json::Value json(const char* text)
{
    return Json::parse(text).value();
}

// The text form of a random UUID, as records get one for a missing id.
inline bool looksLikeUUID(const std::string& text)
{
    return text.size() == 36 && text[8] == '-' && text[14] == '4';
}

} // namespace zeph
