#pragma once

#include "Logic/FillInPrompting.h"

namespace zeph {

// A snippet's "{fill:…}" fields in a small window, one line each, with their defaults.
class FillInDialog final : public FillInPrompting {
public:
    void ask(const std::string& title, const std::vector<SnippetTemplate::FillField>& fields,
        std::function<void(std::optional<Values>)> completion) override;
};

} // namespace zeph
