#pragma once

#include "Logic/AppModel.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zeph {

// The documents the running application keeps in memory (settings, themes, learned ranking,
// clipboard history), handed to the command line and taken back from it, so that a change made
// there is made here and the application's next save keeps it. A change is taken only over the
// version it was made from; otherwise the command line reads again and retries.
class DocumentExchange {
public:
    struct Document {
        std::string text {};
        std::uint64_t version = 0; // Of the text: equal texts have equal versions.
    };

    static constexpr std::string_view staleRefusal = "The document changed meanwhile.";

    explicit DocumentExchange(AppModel& model);

    // The document as the application holds it; nothing for one it does not keep, or for a data
    // folder other than its own.
    std::optional<Document> get(
        const std::filesystem::path& dataFolder, std::string_view fileName) const;
    // Takes `text` as the document, made from `version`, and writes it; nothing when taken, else
    // why not (`staleRefusal` when the document changed since that version).
    std::optional<std::string> set(const std::filesystem::path& dataFolder,
        std::string_view fileName, const std::string& text, std::uint64_t version);

    static std::uint64_t versionOf(std::string_view text);

private:
    bool isOwnFolder(const std::filesystem::path& dataFolder) const;
    std::optional<std::string> currentText(std::string_view fileName) const;

    AppModel& m_model;
};

} // namespace zeph
