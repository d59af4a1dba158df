#include "Logic/DocumentExchange.h"

#include "Storage/Paths.h"

namespace zeph {

namespace {

template <typename Document> std::optional<std::string> textOf(const Document& document)
{
    auto text = Json::documentText(DocumentCoding<Document>::encode(document));
    return text ? std::optional(std::move(*text)) : std::nullopt;
}

template <typename Document> Result<Document> decoded(const std::string& text)
{
    auto json = Json::parse(text);
    if (!json)
        return Error { "The document is not JSON." };
    return DocumentCoding<Document>::decode(*json);
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
    auto refusal = [](const Error& error) { return std::optional(error.message); };
    if (fileName == Paths::settingsFile) {
        auto settings = decoded<AppSettings>(text);
        if (!settings)
            return refusal(settings.error());
        m_model.settings().set(std::move(*settings));
    } else if (fileName == Paths::themesFile) {
        auto themes = decoded<ThemeLibrary>(text);
        if (!themes)
            return refusal(themes.error());
        m_model.customThemes().set(std::move(*themes));
    } else if (fileName == Paths::clipboardFile) {
        auto history = decoded<ClipboardHistory>(text);
        if (!history)
            return refusal(history.error());
        m_model.clipboardHistory().set(std::move(*history));
    } else {
        auto snapshot = decoded<KnowledgeBase::Snapshot>(text);
        if (!snapshot)
            return refusal(snapshot.error());
        m_model.knowledge().replace(std::move(*snapshot));
    }
    m_model.writeNow(fileName);
    return std::nullopt;
}

} // namespace zeph
