#include "Logic/DocumentExchange.h"

#include "Storage/Paths.h"

namespace zeph {

namespace {

template <typename Document> std::optional<std::string> textOf(const Document& document)
{
    auto text = encodeDocument(document);
    return text ? std::optional(std::move(*text)) : std::nullopt;
}

template <typename Document> Result<Document> decoded(const std::string& text)
{
    auto document = decodeDocument<Document>(text);
    if (!document)
        return Error { "The document is not JSON." };
    return std::move(*document);
}

// The document in `text` as the new value; why not, when it cannot be read.
template <typename Document>
std::optional<std::string> take(Observable<Document>& target, const std::string& text)
{
    auto document = decoded<Document>(text);
    if (!document)
        return document.error().message;
    target.set(std::move(*document));
    return std::nullopt;
}

} // namespace

DocumentExchange::DocumentExchange(AppModel& model)
    : m_model(model)
{
}

std::uint64_t DocumentExchange::versionOf(std::string_view text)
{
    // FNV-1a: versions only need to differ when texts do, between two calls.
    std::uint64_t hash = 14695981039346656037ull;
    for (unsigned char byte : text) {
        hash ^= byte;
        hash *= 1099511628211ull;
    }
    return hash;
}

bool DocumentExchange::isOwnFolder(const std::filesystem::path& dataFolder) const
{
    std::error_code error;
    return std::filesystem::equivalent(dataFolder, m_model.dataFolder(), error);
}

std::optional<std::string> DocumentExchange::currentText(std::string_view fileName) const
{
    if (fileName == Paths::settingsFile)
        return textOf(m_model.settings().get());
    if (fileName == Paths::themesFile)
        return textOf(m_model.customThemes().get());
    if (fileName == Paths::clipboardFile)
        return textOf(m_model.clipboardHistory().get());
    if (fileName == Paths::knowledgeFile)
        return textOf(m_model.knowledge().snapshot());
    return std::nullopt;
}

std::optional<DocumentExchange::Document> DocumentExchange::get(
    const std::filesystem::path& dataFolder, std::string_view fileName) const
{
    if (!isOwnFolder(dataFolder))
        return std::nullopt;
    auto text = currentText(fileName);
    if (!text)
        return std::nullopt;
    auto version = versionOf(*text);
    return Document { .text = std::move(*text), .version = version };
}

std::optional<std::string> DocumentExchange::set(const std::filesystem::path& dataFolder,
    std::string_view fileName, const std::string& text, std::uint64_t version)
{
    if (!isOwnFolder(dataFolder) || !Paths::isApplicationDocument(fileName))
        return "The application keeps no such document in this data folder.";
    auto current = currentText(fileName);
    if (!current || versionOf(*current) != version)
        return std::string(staleRefusal);
    std::optional<std::string> refusal;
    if (fileName == Paths::settingsFile) {
        refusal = take(m_model.settings(), text);
    } else if (fileName == Paths::themesFile) {
        refusal = take(m_model.customThemes(), text);
    } else if (fileName == Paths::clipboardFile) {
        refusal = take(m_model.clipboardHistory(), text);
    } else {
        auto snapshot = decoded<KnowledgeBase::Snapshot>(text);
        if (!snapshot)
            return snapshot.error().message;
        m_model.knowledge().replace(std::move(*snapshot));
    }
    if (refusal)
        return refusal;
    m_model.writeNow(fileName);
    return std::nullopt;
}

} // namespace zeph
