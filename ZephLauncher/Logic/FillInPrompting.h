#pragma once

#include "Snippets/SnippetTemplate.h"

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zeph {

// Asks the user for the values of a snippet's "{fill:…}" fields in a small window.
class FillInPrompting {
public:
    using Values = std::unordered_map<std::string, std::string>;
    virtual ~FillInPrompting() = default;
    // `title` heads the window ("Fill in snippet" when empty). `completion` hears, once, the
    // values the user edited (the others keep their defaults), or nothing when cancelled.
    virtual void ask(const std::string& title,
        const std::vector<SnippetTemplate::FillField>& fields,
        std::function<void(std::optional<Values>)> completion)
        = 0;
};

} // namespace zeph
