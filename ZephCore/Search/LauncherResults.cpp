#include "Search/LauncherResults.h"

#include "Search/Calculator.h"
#include "Support/Text.h"

#include <algorithm>
#include <unordered_map>

namespace zeph {

namespace {

constexpr int modeFileLimit = 40;

struct ModeInfo {
    std::string_view title;
    std::string_view symbolName;
    std::string_view placeholder;
};

constexpr ModeInfo modeInfo(LauncherMode mode)
{
    switch (mode) {
    case LauncherMode::files:
        return { "Files", "doc", "Search files" };
    case LauncherMode::find:
        return { "Find in File Manager", "folder", "Find a file to reveal" };
    case LauncherMode::contents:
        return { "In files", "doc.text.magnifyingglass", "Search inside files" };
    case LauncherMode::clipboard:
        return { "Clipboard", "doc.on.clipboard", "Search clipboard history" };
    case LauncherMode::snippets:
        return { "Snippets", "text.quote", "Search snippets" };
    case LauncherMode::google:
        return { "Google", "globe", "Search Google" };
    }
    return {};
}

std::string counted(std::size_t count, std::string_view one, std::string_view many)
{
    return count == 1 ? "1 " + std::string(one) : std::to_string(count) + " " + std::string(many);
}

std::string curlyQuoted(std::string_view text)
{
    return "“" + std::string(text) + "”";
}

ResultSection infoSection(std::string title, SearchItem row)
{
    return { .title = std::move(title), .results = { { .item = std::move(row) } } };
}

void addSection(std::vector<ResultSection>& sections, std::string title,
    std::vector<RankedResult> results, std::optional<std::string> hint = {})
{
    if (!results.empty())
        sections.push_back({ std::move(title), std::move(hint), std::move(results) });
}

// The rows that stand for the clipboard and snippet modes, so that they can be found by name.
const std::vector<IndexedItem>& modeRows()
{
    static const auto rows = SearchEngine::prepareItems({
        {
            .id = "mode:clipboard",
            .title = "Clipboard History",
            .subtitle = "Search everything you've copied",
            .kind = ItemKind::systemCommand,
            .keywords = { "clip", "clipboard", "pasteboard" },
            .autocomplete = "clip ",
            .symbolName = "doc.on.clipboard",
            .isValid = false,
        },
        {
            .id = "mode:snippets",
            .title = "Snippets",
            .subtitle = "Search and paste your snippets",
            .kind = ItemKind::systemCommand,
            .keywords = { "snip", "snippet" },
            .autocomplete = "snip ",
            .symbolName = "text.quote",
            .isValid = false,
        },
    });
    return rows;
}

// Clipboard entries whose row scores at least `minimum` against the term, best first; ties keep
// the history's order, newest first. Only the rows kept are walked again for their highlight.
std::vector<RankedResult> clipboardMatches(
    const SearchEngine& engine, std::string_view term, double minimum, int limit)
{
    auto pattern = FuzzyMatcher::makePattern(makeQueryText(term));
    auto& entries = engine.clipboardItems();
    std::vector<std::pair<double, std::size_t>> scored;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        auto score = FuzzyMatcher::score(
            pattern, FuzzyMatcher::MatchTextTarget(entries[index].indexed.titleText), minimum);
        if (score && *score >= minimum)
            scored.emplace_back(*score, index);
    }
    std::stable_sort(
        scored.begin(), scored.end(), [](auto& a, auto& b) { return a.first > b.first; });
    scored.resize(std::min(scored.size(), static_cast<std::size_t>(std::max(limit, 0))));
    std::vector<RankedResult> matches;
    for (auto [score, index] : scored) {
        RankedResult result {
            .item = entries[index].indexed.item, .score = score, .matchScore = score
        };
        FuzzyMatcher::score(pattern,
            FuzzyMatcher::MatchTextTarget(entries[index].indexed.titleText), 0, &result.highlight);
        matches.push_back(std::move(result));
    }
    return matches;
}

void buildFileMode(LauncherResults& results, LauncherMode mode)
{
    bool isContents = mode == LauncherMode::contents;
    if (results.term.empty()) {
        results.sections.push_back(infoSection("Files",
            infoRow("files-hint",
                isContents ? "Type a word to search inside files" : "Type a file name", "",
                "magnifyingglass")));
        return;
    }
    results.sections.push_back(
        { .title = isContents ? "Files containing " + curlyQuoted(results.term) : "Files" });
    results.fileSearch = FileSearchRequest { results.term, isContents, modeFileLimit };
}

void buildClipboardMode(LauncherResults& results, const SearchEngine& engine)
{
    if (!results.term.empty()) {
        addSection(results.sections, "Clipboard",
            clipboardMatches(
                engine, results.term, 0.3, static_cast<int>(engine.clipboardItems().size())));
    } else {
        std::vector<RankedResult> pinned;
        std::vector<RankedResult> rest;
        for (auto& entry : engine.clipboardItems())
            (entry.item.pinned ? pinned : rest).push_back({ .item = entry.indexed.item });
        addSection(results.sections, "Pinned", std::move(pinned));
        addSection(results.sections, "Clipboard", std::move(rest));
    }
    if (results.sections.empty()) {
        results.sections.push_back(infoSection("Clipboard",
            infoRow("clip-none",
                results.term.empty() ? "Nothing copied yet" : "Nothing on the clipboard matches",
                "", "doc.on.clipboard")));
    }
}

void buildSnippetMode(LauncherResults& results, const SearchEngine& engine)
{
    if (results.term.empty()) {
        for (auto& group : engine.snippetGroups()) {
            std::vector<RankedResult> rows;
            auto items = engine.snippetItems(group);
            for (auto& indexed : items)
                rows.push_back(fixedResult(indexed.item));
            addSection(results.sections, group.name, std::move(rows),
                counted(items.size(), "snippet", "snippets"));
        }
    } else {
        addSection(
            results.sections, "Snippets", engine.snippetResults(results.term, engine.limit()));
    }
    if (results.sections.empty()) {
        results.sections.push_back(infoSection("Snippets",
            infoRow("snip-none", results.term.empty() ? "No snippets yet" : "No snippets match", "",
                "text.quote")));
    }
}

void buildGoogleMode(LauncherResults& results, const SearchEngine& engine)
{
    auto& searches = engine.settings().webSearches;
    auto google = std::find_if(searches.begin(), searches.end(),
        [](const WebSearch& search) { return search.id == "google"; });
    auto& search = google != searches.end() ? *google : WebSearch::defaults().front();
    results.sections.push_back(
        { .title = "Search the Web", .results = { fixedResult(search.item(results.term)) } });
}

bool buildNavigation(LauncherResults& results, std::string_view text, const SearchEngine& engine)
{
    if (!engine.settings().fileNavigation
        || !(text.starts_with('/') || text == "~" || text.starts_with("~/")))
        return false;
    auto query = FileNavigator::parse(text, engine.home());
    if (!query)
        return false;
    auto rows = FileNavigator::list(*query, engine.settings().showHiddenFiles, engine.home(),
        FileNavigator::rowLimit, engine.fileManager());
    auto entries = rows.size() - (query->filter.empty() && !rows.empty() ? 1 : 0);
    std::string title;
    if (query->directory == "/")
        title = "Computer";
    else if (query->directory == FileNavigator::parse("~", engine.home())->directory)
        title = "Home";
    else
        title = query->directory.substr(query->directory.rfind('/') + 1);
    if (entries == 0) {
        rows.push_back({ .item = query->filter.empty()
                ? infoRow("nav-empty", "Empty folder", "", "folder")
                : infoRow(
                    "nav-empty", "Nothing matches " + curlyQuoted(query->filter), "", "folder") });
    }
    results.sections.push_back(
        { std::move(title), counted(entries, "item", "items"), std::move(rows) });
    results.navigation = *query;
    results.special = SearchResponse::Navigation { std::move(*query) };
    return true;
}

void buildHome(LauncherResults& results, const SearchEngine& engine)
{
    results.isEmptyQuery = true;
    if (engine.learningEnabled) {
        auto scores = engine.knowledge().usageScores(engine.now());
        std::vector<std::pair<std::string, double>> used(scores.begin(), scores.end());
        std::sort(used.begin(), used.end(), [](auto& a, auto& b) {
            return a.second != b.second ? a.second > b.second : a.first < b.first;
        });
        std::unordered_map<std::string_view, const SearchItem*> items;
        for (auto* source : { &engine.applications(), &engine.systemSettings(), &engine.commands(),
                 &engine.workflowItems(), &engine.snippetItems() }) {
            for (auto& indexed : *source)
                items.emplace(indexed.item.id, &indexed.item);
        }
        std::vector<RankedResult> recent;
        for (auto& [id, score] : used) {
            if (recent.size() == 4)
                break;
            if (auto found = items.find(id); found != items.end())
                recent.push_back({ .item = *found->second, .score = score });
        }
        addSection(results.sections, "Recent", std::move(recent));
    }
    std::vector<RankedResult> clipboard;
    for (auto& entry : engine.clipboardItems()) {
        if (clipboard.size() == 3)
            break;
        clipboard.push_back({ .item = entry.indexed.item });
    }
    addSection(results.sections, "Clipboard", std::move(clipboard), "type clip for more");
}

bool buildCalculation(LauncherResults& results, std::string_view text, const SearchEngine& engine)
{
    if (!engine.settings().includeCalculator)
        return false;
    auto answers = Calculator::results(text);
    if (answers.empty())
        return false;
    std::vector<RankedResult> rows;
    for (std::size_t index = 0; index < answers.size(); ++index) {
        rows.push_back(fixedResult({
            .id = "calc:" + std::to_string(index),
            .title = answers[index].value,
            .subtitle = answers[index].expression,
            .kind = ItemKind::calculator,
            .argument = answers[index].value,
            .symbolName = "plus.forwardslash.minus",
        }));
    }
    results.sections.push_back({ .title = "Calculator", .results = std::move(rows) });
    results.isCalculation = true;
    return true;
}

void buildStandard(LauncherResults& results, const ParsedQuery& parsed, const SearchEngine& engine)
{
    auto& settings = engine.settings();
    auto limit = engine.limit();
    auto query = makeQueryText(parsed.term);
    auto boosts = engine.boosts(parsed.term);
    auto& ranker = engine.ranker;
    auto& sections = results.sections;
    if (settings.includeApplications)
        addSection(
            sections, "Applications", ranker.rank(engine.applications(), query, boosts, limit));
    std::vector<std::vector<RankedResult>> settingsAndCommands;
    if (settings.includeSystemSettings)
        settingsAndCommands.push_back(ranker.rank(engine.systemSettings(), query, boosts, limit));
    if (settings.includeSystemCommands)
        settingsAndCommands.push_back(ranker.rank(engine.commands(), query, boosts, limit));
    settingsAndCommands.push_back(ranker.rank(modeRows(), query, boosts, limit));
    addSection(sections, "Settings & Commands", Ranker::merge(settingsAndCommands, limit));
    addSection(sections, "Workflows", ranker.rank(engine.workflowItems(), query, boosts, limit));
    addSection(sections, "Clipboard", clipboardMatches(engine, parsed.term, 0.6, limit));
    addSection(sections, "Search the Web", engine.webMatches(query, boosts));

    if (settings.includeFiles && settings.fileResultLimit > 0) {
        results.fileSearch = FileSearchRequest { results.term, false,
            static_cast<int>(std::min<std::int64_t>(settings.fileResultLimit, 100'000)) };
    }
    if (sections.empty() && !results.fileSearch)
        addSection(sections, "Search the Web", engine.fallbackResults(results.term));
}

} // namespace

std::string_view title(LauncherMode mode)
{
    return modeInfo(mode).title;
}

std::string_view symbolName(LauncherMode mode)
{
    return modeInfo(mode).symbolName;
}

std::string_view placeholder(std::optional<LauncherMode> mode)
{
    return mode ? modeInfo(*mode).placeholder : "Search apps, files and commands";
}

std::optional<std::pair<LauncherMode, std::string>> detectMode(std::string_view text)
{
    static constexpr std::pair<std::string_view, LauncherMode> prefixes[] = {
        { "'", LauncherMode::files },
        { " ", LauncherMode::files },
        { "find ", LauncherMode::find },
        { "in ", LauncherMode::contents },
        { "clip ", LauncherMode::clipboard },
        { "snip ", LauncherMode::snippets },
        { "g ", LauncherMode::google },
    };
    // The prefixes are ASCII, so lower-casing only ASCII letters decides the same.
    for (auto& [prefix, mode] : prefixes) {
        if (text.size() >= prefix.size()
            && equalIgnoringASCIICase(text.substr(0, prefix.size()), prefix))
            return std::pair { mode, std::string(text.substr(prefix.size())) };
    }
    return std::nullopt;
}

std::string wordsPredicate(std::string_view attribute, std::string_view term)
{
    std::string predicate;
    std::size_t start = 0;
    while (start <= term.size()) {
        auto end = std::min(term.find(' ', start), term.size());
        if (end > start) {
            if (!predicate.empty())
                predicate += " && ";
            predicate += attribute;
            predicate += " == \"";
            predicate += QueryParser::escapeForPredicate(term.substr(start, end - start));
            predicate += "*\"cdw";
        }
        start = end + 1;
    }
    return predicate;
}

std::string FileSearchRequest::contentPredicate() const
{
    return wordsPredicate("kMDItemTextContent", term);
}

SearchItem infoRow(
    std::string_view name, std::string title, std::string subtitle, std::string symbolName)
{
    return {
        .id = "info:" + std::string(name),
        .title = std::move(title),
        .subtitle = std::move(subtitle),
        .kind = ItemKind::action,
        .symbolName = std::move(symbolName),
        .isValid = false,
    };
}

LauncherResults LauncherResults::build(
    std::string_view typed, std::optional<LauncherMode> mode, const SearchEngine& engine)
{
    // Everything below reads text as UTF-8; odd bytes become replacement characters.
    auto clean = isValidUTF8(typed) ? std::string() : sanitizedUTF8(typed);
    std::string_view text = clean.empty() ? typed : clean;
    LauncherResults results;
    results.mode = mode;
    results.term = std::string(trimmedWhitespaceAndNewlines(text));
    if (mode) {
        switch (*mode) {
        case LauncherMode::files:
        case LauncherMode::find:
        case LauncherMode::contents:
            buildFileMode(results, *mode);
            break;
        case LauncherMode::clipboard:
            buildClipboardMode(results, engine);
            break;
        case LauncherMode::snippets:
            buildSnippetMode(results, engine);
            break;
        case LauncherMode::google:
            buildGoogleMode(results, engine);
            break;
        }
        return results;
    }
    if (buildNavigation(results, text, engine))
        return results;
    if (results.term.empty()) {
        buildHome(results, engine);
        return results;
    }
    if (buildCalculation(results, text, engine))
        return results;

    auto parsed = QueryParser::parse(text);
    if (parsed.mode == QueryMode::navigate)
        parsed = QueryParser::standardQuery(text);
    switch (parsed.mode) {
    case QueryMode::openFile:
    case QueryMode::findFile:
    case QueryMode::contents: {
        // A prefix typed without entering its mode asks for the same files, built as in the mode.
        auto fileMode = parsed.mode == QueryMode::openFile ? LauncherMode::files
            : parsed.mode == QueryMode::findFile           ? LauncherMode::find
                                                           : LauncherMode::contents;
        results.mode = fileMode;
        results.term = std::string(trimmedWhitespaceAndNewlines(parsed.term));
        buildFileMode(results, fileMode);
        return results;
    }
    case QueryMode::standard:
    case QueryMode::navigate:
        break;
    }
    if (!engine.isOwnedByKeyword(parsed)) {
        buildStandard(results, parsed, engine);
        return results;
    }
    // A keyword owner, a list filter or a script filter answers alone.
    auto response = engine.search(text);
    results.special = response.special;
    if (!response.results.empty()) {
        auto kind = response.results.front().item.kind;
        auto title = kind == ItemKind::webSearch ? "Search the Web"
            : kind == ItemKind::calculator       ? "Calculator"
                                                 : "Workflow";
        results.sections.push_back({ .title = title, .results = std::move(response.results) });
    }
    return results;
}

LauncherResults LauncherResults::mergingFiles(
    std::vector<SearchItem> items, const SearchEngine& engine) const
{
    LauncherResults merged = *this;
    std::erase_if(items, [&](const SearchItem& item) {
        return item.path && engine.settings().isExcluded(*item.path, engine.home());
    });
    auto limit = fileSearch ? fileSearch->limit : engine.limit();
    std::vector<RankedResult> rows;
    if (fileSearch && fileSearch->contents) {
        // They matched inside the files: the searcher's order stands.
        for (auto& item : items) {
            if (static_cast<int>(rows.size()) >= limit)
                break;
            rows.push_back({ .item = std::move(item), .score = 1.0, .matchScore = 1.0 });
        }
    } else {
        auto indexed = SearchEngine::prepareItems(std::move(items));
        rows = engine.ranker.rank(indexed, makeQueryText(term), engine.boosts(term), limit);
    }

    bool isFileMode = mode == LauncherMode::files || mode == LauncherMode::find
        || mode == LauncherMode::contents;
    if (isFileMode) {
        auto& section = merged.sections.empty()
            ? merged.sections.emplace_back(ResultSection { .title = "Files" })
            : merged.sections.front();
        if (rows.empty()) {
            section.hint.reset();
            section.results
                = { { .item = infoRow("files-none", "No files found", "", "magnifyingglass") } };
        } else {
            section.hint = std::to_string(rows.size()) + " found";
            section.results = std::move(rows);
        }
        return merged;
    }
    if (!rows.empty()) {
        merged.sections.push_back(
            { "Files", std::string("start with ' for files only"), std::move(rows) });
    }
    if (merged.sections.empty()) {
        auto fallbacks = engine.fallbackResults(term);
        if (!fallbacks.empty()) {
            fallbacks.insert(fallbacks.begin(),
                { .item = infoRow("no-matches", "No matches — search the web", "", "globe") });
            merged.sections.push_back(
                { .title = "Search the Web", .results = std::move(fallbacks) });
        }
    }
    return merged;
}

Json::Value toJSON(const LauncherResults& results)
{
    auto sections = Json::Value::array();
    for (auto& section : results.sections) {
        Json::Value json { { "title", section.title } };
        if (section.hint)
            json["hint"] = *section.hint;
        auto rows = Json::Value::array();
        for (auto& result : section.results)
            rows.push_back(toJSON(result));
        json["results"] = std::move(rows);
        sections.push_back(std::move(json));
    }
    Json::Value json {
        { "sections", std::move(sections) },
        { "term", results.term },
        { "special", toJSON(results.special) },
        { "isEmptyQuery", results.isEmptyQuery },
        { "isCalculation", results.isCalculation },
    };
    if (results.mode)
        json["mode"] = toString(*results.mode);
    if (results.navigation)
        json["navigation"] = toJSON(*results.navigation);
    if (auto& request = results.fileSearch) {
        json["fileSearch"] = {
            { "term", request->term },
            { "contents", request->contents },
            { "limit", request->limit },
        };
    }
    return json;
}

} // namespace zeph
