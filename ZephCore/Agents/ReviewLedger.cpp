#include "Agents/ReviewLedger.h"

#include <algorithm>
#include <set>

namespace zeph {

namespace {

std::vector<std::string_view> lines(std::string_view text)
{
    std::vector<std::string_view> found;
    while (!text.empty()) {
        auto end = text.find('\n');
        found.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + 1);
    }
    return found;
}

std::string textOf(const Json::Value& record)
{
    return Json::documentText(record).value_or(std::string {});
}

std::vector<ChangedLine> changesFrom(const std::map<std::string, Json::Value>& approved,
    const std::string& id, const Json::Value& now)
{
    auto found = approved.find(id);
    return changedLines(
        found == approved.end() ? std::string {} : textOf(found->second), textOf(now));
}

Json::Value encodeEntries(const std::map<std::string, Json::Value>& entries)
{
    auto object = Json::Value::object();
    for (const auto& [id, record] : entries)
        object[id] = record;
    return object;
}

std::map<std::string, Json::Value> decodeEntries(const Json::Value& json, const char* key)
{
    std::map<std::string, Json::Value> entries;
    if (auto found = json.find(key); found != json.end() && found->is_object()) {
        for (const auto& [id, record] : found->items()) {
            if (record.is_object())
                entries.emplace(id, record);
        }
    }
    return entries;
}

} // namespace

std::vector<ChangedLine> changedLines(std::string_view before, std::string_view after)
{
    auto old = lines(before);
    auto now = lines(after);
    // Lines alike at both ends need no table.
    std::size_t head = 0;
    while (head < old.size() && head < now.size() && old[head] == now[head])
        ++head;
    std::size_t tail = 0;
    while (tail < old.size() - head && tail < now.size() - head
        && old[old.size() - 1 - tail] == now[now.size() - 1 - tail])
        ++tail;
    auto rows = old.size() - head - tail;
    auto columns = now.size() - head - tail;
    // common[i][j]: the longest common subsequence of old[head + i ...] and now[head + j ...].
    std::vector<std::uint32_t> common((rows + 1) * (columns + 1), 0);
    auto at = [&](std::size_t row, std::size_t column) -> std::uint32_t& {
        return common[row * (columns + 1) + column];
    };
    for (std::size_t row = rows; row-- > 0;) {
        for (std::size_t column = columns; column-- > 0;) {
            at(row, column) = old[head + row] == now[head + column]
                ? at(row + 1, column + 1) + 1
                : std::max(at(row + 1, column), at(row, column + 1));
        }
    }
    std::vector<ChangedLine> result;
    auto add = [&](ChangedLine::Kind kind, std::string_view text) {
        result.push_back({ kind, std::string(text) });
    };
    for (std::size_t index = 0; index < head; ++index)
        add(ChangedLine::Kind::kept, old[index]);
    std::size_t row = 0, column = 0;
    while (row < rows || column < columns) {
        if (row < rows && column < columns && old[head + row] == now[head + column]) {
            add(ChangedLine::Kind::kept, old[head + row]);
            ++row;
            ++column;
        } else if (column < columns
            && (row == rows || at(row, column + 1) >= at(row + 1, column))) {
            add(ChangedLine::Kind::added, now[head + column++]);
        } else {
            add(ChangedLine::Kind::removed, old[head + row++]);
        }
    }
    for (std::size_t index = old.size() - tail; index < old.size(); ++index)
        add(ChangedLine::Kind::kept, old[index]);
    return result;
}

void ReviewLedger::approve(const Workflow& workflow)
{
    workflows[workflow.id] = toJSON(workflow);
}

void ReviewLedger::approve(const Snippet& snippet)
{
    snippets[snippet.id] = toJSON(snippet);
}

std::vector<ChangedLine> ReviewLedger::changesSinceApproval(const Workflow& workflow) const
{
    return changesFrom(workflows, workflow.id, toJSON(workflow));
}

std::vector<ChangedLine> ReviewLedger::changesSinceApproval(const Snippet& snippet) const
{
    return changesFrom(snippets, snippet.id, toJSON(snippet));
}

void ReviewLedger::keepOnly(
    const std::vector<Workflow>& current, const std::vector<SnippetCollection>& collections)
{
    std::set<std::string_view> workflowIDs, snippetIDs;
    for (const auto& workflow : current)
        workflowIDs.insert(workflow.id);
    for (const auto& collection : collections) {
        for (const auto& snippet : collection.snippets)
            snippetIDs.insert(snippet.id);
    }
    std::erase_if(workflows, [&](const auto& entry) { return !workflowIDs.contains(entry.first); });
    std::erase_if(snippets, [&](const auto& entry) { return !snippetIDs.contains(entry.first); });
}

Json::Value DocumentCoding<ReviewLedger>::encode(const ReviewLedger& ledger)
{
    return { { "snippets", encodeEntries(ledger.snippets) },
        { "workflows", encodeEntries(ledger.workflows) } };
}

Result<ReviewLedger> DocumentCoding<ReviewLedger>::decode(const Json::Value& json)
{
    if (!json.is_object())
        return Error { "The review record must be a JSON object." };
    return ReviewLedger { .workflows = decodeEntries(json, "workflows"),
        .snippets = decodeEntries(json, "snippets") };
}

} // namespace zeph
