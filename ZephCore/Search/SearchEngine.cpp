#include "Search/SearchEngine.h"

#include "Search/Calculator.h"
#include "Search/SystemCommand.h"
#include "Storage/Paths.h"
#include "Support/Overloaded.h"
#include "Support/Text.h"

#include <algorithm>

namespace zeph {

namespace {

std::string replacingAll(std::string text, std::string_view from, std::string_view to)
{
    for (auto found = text.find(from); found != std::string::npos;
         found = text.find(from, found + to.size()))
        text.replace(found, from.size(), to);
    return text;
}

bool isBlank(std::string_view text)
{
    return trimmedWhitespaceAndNewlines(text).empty();
}

// The first `limit` items in the order given, for a list that was asked for without a query.
std::vector<RankedResult> unranked(const std::vector<IndexedItem>& items, int limit)
{
    std::vector<RankedResult> results;
    auto count = std::min(items.size(), static_cast<std::size_t>(std::max(limit, 0)));
    for (std::size_t index = 0; index < count; ++index)
        results.push_back(fixedResult(items[index].item));
    return results;
}

std::vector<IndexedItem> makeCommands()
{
    std::vector<IndexedItem> commands;
    for (auto command : allCases<SystemCommand>()) {
        auto name = std::string(toString(command));
        SearchItem item {
            .id = "cmd:" + name,
            .title = std::string(title(command)),
            .subtitle = "System command",
            .kind = ItemKind::systemCommand,
            .path = "",
            .argument = name,
            .autocomplete = "",
            .symbolName = std::string(symbolName(command)),
        };
        for (auto keyword : keywords(command))
            item.keywords.emplace_back(keyword);
        commands.push_back(makeIndexedItem(std::move(item)));
    }
    return commands;
}

std::vector<IndexedItem> makeWebSearchItems(const SearchSettings& settings)
{
    std::vector<IndexedItem> items;
    for (auto& search : settings.webSearches) {
        if (!search.isEnabled)
            continue;
        auto item = search.item("");
        item.keywords = { search.keyword };
        items.push_back(makeIndexedItem(std::move(item)));
    }
    return items;
}

} // namespace

RankedResult fixedResult(SearchItem item)
{
    return { .item = std::move(item), .score = 10.0, .matchScore = 1.0 };
}

Json::Value toJSON(const SearchResponse::Special& special)
{
    auto entryJSON = [](const char* name, const WorkflowEntry& entry, const std::string& argument) {
        return Json::Value {
            { "case", name },
            { "workflowID", entry.workflowID },
            { "nodeID", entry.nodeID },
            { "keyword", entry.keyword },
            { "argument", argument },
        };
    };
    return std::visit(Overloaded {
                          [&](const SearchResponse::ScriptFilter& filter) {
                              return entryJSON("scriptFilter", filter.entry, filter.argument);
                          },
                          [&](const SearchResponse::ListFilter& filter) {
                              return entryJSON("listFilter", filter.entry, filter.argument);
                          },
                          [](const SearchResponse::Navigation& navigation) {
                              return Json::Value {
                                  { "case", "navigation" },
                                  { "query", toJSON(navigation.query) },
                              };
                          },
                          [](std::monostate) {
                              return Json::Value { { "case", "none" } };
                          },
                      },
        special);
}

SearchEngine::SearchEngine(SearchSettings settings, KnowledgeBase& knowledge, Clock clock,
    std::string home, const FileNavigator::FileManager& fileManager)
    : m_settings(std::move(settings))
    , m_knowledge(knowledge)
    , m_clock(clock ? std::move(clock)
                    : [] { return std::chrono::floor<std::chrono::seconds>(
                               std::chrono::system_clock::now()); })
    , m_home(home.empty() ? Paths::Environment::current().home.value_or("") : std::move(home))
    , m_fileManager(fileManager)
    , m_commands(makeCommands())
    , m_webSearchItems(makeWebSearchItems(m_settings))
{
}

void SearchEngine::setSettings(SearchSettings settings)
{
    m_settings = std::move(settings);
    m_webSearchItems = makeWebSearchItems(m_settings);
}

int SearchEngine::limit() const
{
    return static_cast<int>(std::clamp<std::int64_t>(m_settings.maxResults, 0, 100'000));
}

std::vector<IndexedItem> SearchEngine::prepareItems(std::vector<SearchItem> items)
{
    std::vector<IndexedItem> indexed;
    indexed.reserve(items.size());
    for (auto& item : items)
        indexed.push_back(makeIndexedItem(std::move(item)));
    return indexed;
}

PreparedWorkflows SearchEngine::prepareWorkflows(std::vector<Workflow> workflows)
{
    PreparedWorkflows prepared;
    prepared.entries = WorkflowLibrary::entries(workflows);
    for (auto& entry : prepared.entries) {
        SearchItem item {
            .id = entry.itemID(),
            .title = entry.title,
            .subtitle = entry.subtitle.empty() ? "Workflow · " + entry.keyword : entry.subtitle,
            .kind = ItemKind::workflow,
            .path = "",
            .argument = "",
            .keywords = { entry.keyword },
            .autocomplete = entry.keyword + " ",
            .symbolName = entry.symbolName,
            .isValid = entry.argument != ArgumentRequirement::required,
        };
        prepared.items.push_back(makeIndexedItem(std::move(item)));
    }
    for (auto& workflow : workflows) {
        auto id = workflow.id;
        prepared.workflows.insert_or_assign(std::move(id), std::move(workflow));
    }
    return prepared;
}

PreparedSnippets SearchEngine::prepareSnippets(const std::vector<SnippetCollection>& collections)
{
    PreparedSnippets prepared;
    for (auto& collection : collections) {
        SnippetGroup group { .name = collection.name, .begin = prepared.items.size() };
        for (auto& snippet : collection.snippets) {
            if (!snippet.isEnabled)
                continue;
            auto fullKeyword = collection.triggerText(snippet).value_or("");
            auto preview = replacingAll(snippet.content, "\n", " ⏎ ");
            // The first 80 characters, never cutting one in half.
            if (auto count = graphemeCount(preview); count > 80) {
                std::vector<std::uint32_t> boundaries;
                graphemeBoundaries(preview, boundaries);
                preview.resize(boundaries[80]);
            }
            SearchItem item {
                .id = "snip:" + collection.id + ":" + snippet.id,
                .title = !snippet.name.empty() ? snippet.name
                    : !fullKeyword.empty()     ? fullKeyword
                                               : "Snippet",
                .subtitle = fullKeyword.empty() ? preview : fullKeyword + " · " + preview,
                .kind = ItemKind::snippet,
                .path = "",
                .argument = snippet.content,
                .autocomplete = "",
                .symbolName = "text.quote",
            };
            for (std::string_view keyword :
                { std::string_view(snippet.keyword), std::string_view(fullKeyword) }) {
                if (!keyword.empty())
                    item.keywords.emplace_back(keyword);
            }
            prepared.items.push_back(makeIndexedItem(std::move(item)));
        }
        group.end = prepared.items.size();
        if (group.end > group.begin)
            prepared.groups.push_back(std::move(group));
    }
    return prepared;
}

PreparedClipboard SearchEngine::prepareClipboard(std::vector<ClipboardItem> items)
{
    PreparedClipboard prepared;
    prepared.indexed.reserve(items.size());
    for (auto& entry : items) {
        std::string title = entry.text;
        if (auto count = graphemeCount(title); count > 300) {
            std::vector<std::uint32_t> boundaries;
            graphemeBoundaries(title, boundaries);
            title.resize(boundaries[300]);
        }
        std::replace(title.begin(), title.end(), '\n', ' ');
        SearchItem item {
            .id = "clip:" + entry.id,
            .title = std::move(title),
            .subtitle = entry.sourceApp.value_or(""),
            .kind = ItemKind::clipboard,
        };
        prepared.indexed.push_back({ entry, makeIndexedItem(std::move(item)) });
    }
    prepared.items = std::move(items);
    return prepared;
}

void SearchEngine::install(PreparedWorkflows prepared)
{
    m_workflows = std::move(prepared);
}

void SearchEngine::install(PreparedSnippets prepared)
{
    m_snippets = std::move(prepared);
}

void SearchEngine::install(PreparedClipboard prepared)
{
    m_clipboard = std::move(prepared);
}

void SearchEngine::setApplications(std::vector<SearchItem> items)
{
    installApplications(prepareItems(std::move(items)));
}

void SearchEngine::setSystemSettings(std::vector<SearchItem> items)
{
    installSystemSettings(prepareItems(std::move(items)));
}

void SearchEngine::setWorkflows(std::vector<Workflow> workflows)
{
    install(prepareWorkflows(std::move(workflows)));
}

void SearchEngine::setSnippets(const std::vector<SnippetCollection>& collections)
{
    install(prepareSnippets(collections));
}

void SearchEngine::setClipboard(std::vector<ClipboardItem> items)
{
    install(prepareClipboard(std::move(items)));
}

Boosts SearchEngine::boosts(std::string_view term) const
{
    if (!learningEnabled)
        return {};
    return m_knowledge.boosts(term, now());
}

const WebSearch* SearchEngine::webSearchOwning(const ParsedQuery& query) const
{
    for (auto& search : m_settings.webSearches) {
        if (search.isEnabled && lowercasedText(search.keyword) == query.keyword)
            return &search;
    }
    return nullptr;
}

const WorkflowEntry* SearchEngine::workflowEntryOwning(const ParsedQuery& query) const
{
    for (auto& entry : m_workflows.entries) {
        if (lowercasedText(entry.keyword) == query.keyword)
            return &entry;
    }
    return nullptr;
}

bool SearchEngine::isOwnedByKeyword(const ParsedQuery& query) const
{
    if (query.mode != QueryMode::standard || !query.argument || isBlank(query.term))
        return false;
    return query.keyword == lowercasedText(snippetKeyword) || webSearchOwning(query)
        || workflowEntryOwning(query);
}

std::vector<RankedResult> SearchEngine::webMatches(
    const QueryText& query, const Boosts& boosts) const
{
    if (query.compact.empty())
        return {};
    std::vector<RankedResult> scored;
    auto pattern = FuzzyMatcher::makePattern(query);
    for (auto& indexed : m_webSearchItems) {
        if (auto result = ranker.score(indexed, pattern, boosts))
            scored.push_back(std::move(*result));
    }
    auto best = Ranker::top(std::move(scored), 3);
    std::erase_if(best, [](const RankedResult& result) { return result.matchScore < 0.9; });
    return best;
}

SearchResponse SearchEngine::search(std::string_view typed) const
{
    // Everything below reads text as UTF-8; odd bytes become replacement characters.
    auto clean = isValidUTF8(typed) ? std::string() : sanitizedUTF8(typed);
    std::string_view text = clean.empty() ? typed : clean;
    auto limit = this->limit();
    auto parsed = QueryParser::parse(text);
    if (parsed.mode == QueryMode::navigate) {
        if (m_settings.fileNavigation) {
            if (auto query = FileNavigator::parse(text, m_home)) {
                auto rows = FileNavigator::list(*query, m_settings.showHiddenFiles, m_home,
                    FileNavigator::rowLimit, m_fileManager);
                return { std::move(parsed), std::move(rows), false,
                    SearchResponse::Navigation { std::move(*query) } };
            }
        }
        parsed = QueryParser::standardQuery(text);
    }
    if (parsed.mode != QueryMode::standard) {
        bool wantsFiles = !parsed.term.empty();
        return { std::move(parsed), {}, wantsFiles };
    }
    if (isBlank(parsed.term))
        return { std::move(parsed) };

    if (parsed.argument) {
        auto& argument = *parsed.argument;
        if (parsed.keyword == lowercasedText(snippetKeyword)) {
            auto results = snippetResults(argument, limit);
            return { std::move(parsed), std::move(results) };
        }
        if (auto* search = webSearchOwning(parsed)) {
            std::vector<RankedResult> results { fixedResult(search->item(argument)) };
            return { std::move(parsed), std::move(results) };
        }
        if (auto* entry = workflowEntryOwning(parsed)) {
            auto owned = argument;
            return workflowResponse(*entry, owned, std::move(parsed));
        }
    }

    auto query = makeQueryText(parsed.term);
    auto boosts = this->boosts(parsed.term);
    std::vector<std::vector<RankedResult>> groups;
    if (m_settings.includeApplications)
        groups.push_back(ranker.rank(m_applications, query, boosts, limit));
    if (m_settings.includeSystemSettings)
        groups.push_back(ranker.rank(m_systemSettings, query, boosts, limit));
    if (m_settings.includeSystemCommands)
        groups.push_back(ranker.rank(m_commands, query, boosts, limit));
    groups.push_back(ranker.rank(m_workflows.items, query, boosts, limit));
    groups.push_back(webMatches(query, boosts));
    auto results = Ranker::merge(groups, limit);

    if (m_settings.includeCalculator) {
        if (auto value = Calculator::evaluate(parsed.term)) {
            auto answer = Calculator::plainText(*value);
            SearchItem item {
                .id = "calc",
                .title = answer,
                .subtitle = parsed.term + " — Return to copy",
                .kind = ItemKind::calculator,
                .path = "",
                .argument = answer,
                .autocomplete = "",
                .symbolName = "equal.square",
            };
            results.insert(results.begin(), fixedResult(std::move(item)));
            if (static_cast<int>(results.size()) > limit)
                results.resize(static_cast<std::size_t>(limit));
        }
    }
    return { std::move(parsed), std::move(results), m_settings.includeFiles };
}

SearchResponse SearchEngine::workflowResponse(
    const WorkflowEntry& entry, const std::string& argument, ParsedQuery parsed) const
{
    SearchResponse response { .query = std::move(parsed) };
    auto* workflow = this->workflow(entry.workflowID);
    auto* node = workflow ? workflow->nodeWithID(entry.nodeID) : nullptr;
    if (!node)
        return response;
    if (auto* list = node->kind.get<NodeKind::ListFilter>()) {
        std::vector<SearchItem> items;
        for (auto& row : list->items) {
            items.push_back({
                .id = entry.itemID() + ":" + row.id,
                .title = row.title,
                .subtitle = row.subtitle,
                .kind = ItemKind::workflow,
                .path = "",
                .argument = row.argument,
                .autocomplete = "",
                .symbolName = entry.symbolName,
            });
        }
        response.results = filterItems(std::move(items), argument, limit());
        response.special = SearchResponse::ListFilter { entry, argument };
        return response;
    }
    if (node->kind.get<NodeKind::ScriptFilter>()) {
        response.special = SearchResponse::ScriptFilter { entry, argument };
        return response;
    }
    bool isEmpty = isBlank(argument);
    bool takesArgument = entry.argument != ArgumentRequirement::none;
    SearchItem item {
        .id = entry.itemID(),
        .title
        = takesArgument && !isEmpty ? replacingAll(entry.title, "{query}", argument) : entry.title,
        .subtitle = !entry.subtitle.empty() ? entry.subtitle
            : !isEmpty                      ? argument
                                            : "Type an argument",
        .kind = ItemKind::workflow,
        .path = "",
        .argument = argument,
        .autocomplete = entry.keyword + " ",
        .symbolName = entry.symbolName,
        .isValid = !(entry.argument == ArgumentRequirement::required && isEmpty),
    };
    response.results.push_back(fixedResult(std::move(item)));
    return response;
}

std::vector<RankedResult> SearchEngine::snippetResults(std::string_view query, int limit) const
{
    if (isBlank(query))
        return unranked(m_snippets.items, limit);
    return ranker.rank(m_snippets.items, makeQueryText(query), boosts(query), limit);
}

std::vector<RankedResult> SearchEngine::filterItems(
    std::vector<SearchItem> items, std::string_view query, std::optional<int> limit) const
{
    auto count = limit.value_or(this->limit());
    auto indexed = prepareItems(std::move(items));
    if (isBlank(query))
        return unranked(indexed, count);
    Ranker transient { .learningWeight = ranker.learningWeight, .minimumMatchScore = 0.2 };
    return transient.rank(indexed, makeQueryText(query), {}, count);
}

void SearchEngine::recordPick(const SearchItem& item, std::string_view rawQuery)
{
    if (!learningEnabled || item.kind == ItemKind::calculator || item.kind == ItemKind::webSearch)
        return;
    m_knowledge.record(QueryParser::parse(rawQuery).term, item.id, now());
}

std::optional<std::pair<std::string, std::string>> SearchEngine::workflowTarget(
    std::string_view itemID)
{
    std::vector<std::string_view> parts;
    for (std::size_t start = 0;;) {
        auto end = itemID.find(':', start);
        parts.push_back(itemID.substr(start, end - start));
        if (end == std::string_view::npos)
            break;
        start = end + 1;
    }
    if (parts.size() <= 2 || parts[0] != "wf")
        return std::nullopt;
    return std::pair { std::string(parts[1]), std::string(parts[2]) };
}

const Workflow* SearchEngine::workflow(std::string_view id) const
{
    auto found = m_workflows.workflows.find(id);
    return found == m_workflows.workflows.end() ? nullptr : &found->second;
}

std::vector<RankedResult> SearchEngine::mergeFiles(
    std::vector<SearchItem> items, const SearchResponse& response) const
{
    auto& parsed = response.query;
    std::erase_if(items, [&](const SearchItem& item) {
        return item.path && m_settings.isExcluded(*item.path, m_home);
    });
    bool isStandard = parsed.mode == QueryMode::standard;
    auto fileLimit = isStandard
        ? static_cast<int>(std::clamp<std::int64_t>(m_settings.fileResultLimit, 0, 100'000))
        : limit();

    std::vector<RankedResult> files;
    if (parsed.mode == QueryMode::contents) {
        // They matched inside the files, not by name: the searcher's order stands.
        for (auto& item : items) {
            if (static_cast<int>(files.size()) >= fileLimit)
                break;
            files.push_back({ .item = std::move(item), .score = 1.0, .matchScore = 1.0 });
        }
    } else {
        auto indexed = prepareItems(std::move(items));
        files = ranker.rank(indexed, makeQueryText(parsed.term), boosts(parsed.term), fileLimit);
    }
    if (isStandard) {
        // Files rank behind applications unless the user has chosen the file before.
        for (auto& file : files) {
            if (!(file.learnedBoost > 0))
                file.score -= 0.35;
        }
    }

    std::vector<RankedResult> merged;
    auto& results = response.results;
    if (parsed.mode == QueryMode::contents && results.empty()) {
        merged = std::move(files);
        if (static_cast<int>(merged.size()) > limit())
            merged.resize(static_cast<std::size_t>(limit()));
    } else if (!results.empty() && results.front().item.kind == ItemKind::calculator) {
        std::vector<RankedResult> rest(results.begin() + 1, results.end());
        merged = Ranker::merge({ rest, files }, limit() - 1);
        merged.insert(merged.begin(), results.front());
    } else {
        merged = Ranker::merge({ results, files }, limit());
    }
    if (isStandard && merged.empty())
        return fallbackResults(parsed.term);
    return merged;
}

std::vector<RankedResult> SearchEngine::fallbackResults(std::string_view term) const
{
    std::vector<RankedResult> results;
    if (!m_settings.showFallbacks || isBlank(term))
        return results;
    for (auto& search : m_settings.webSearches) {
        if (search.isEnabled && search.isFallback)
            results.push_back(fixedResult(search.item(term)));
    }
    return results;
}

} // namespace zeph
