#include "Workflows/WorkflowRunner.h"

#include "Storage/AppSettings.h"
#include "Support/Overloaded.h"
#include "Support/Text.h"

#include <charconv>
#include <cmath>
#include <deque>
#include <memory>

#include <unicode/regex.h>

namespace zeph {

namespace {

std::string replacingAll(std::string text, std::string_view placeholder, std::string_view value)
{
    for (auto found = text.find(placeholder); found != std::string::npos;
         found = text.find(placeholder, found + value.size()))
        text.replace(found, placeholder.size(), value);
    return text;
}

// A pattern from a hand-edited workflow could backtrack for ever; ICU gives up after about this
// many milliseconds, and the condition is then false like that of an invalid pattern.
constexpr std::int32_t regexTimeLimit = 1000;

bool regexFinds(const std::string& pattern, const std::string& text)
{
    UParseError parseError {};
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern), 0, parseError, status));
    if (U_FAILURE(status) || !compiled)
        return false;
    auto input = icu::UnicodeString::fromUTF8(text);
    std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(input, status));
    if (U_FAILURE(status) || !matcher)
        return false;
    matcher->setTimeLimit(regexTimeLimit, status);
    bool found = matcher->find(0, status);
    return U_SUCCESS(status) && found;
}

std::string loweredText(const std::string& text)
{
    return lowercasedText(normalizedText(text));
}

bool holds(ConditionOperator op, const std::string& value, const std::string& compareTo)
{
    switch (op) {
    // Canonically equivalent texts are equal: a decomposed "é" equals a composed one.
    case ConditionOperator::equals:
        return normalizedText(value) == normalizedText(compareTo);
    case ConditionOperator::notEquals:
        return normalizedText(value) != normalizedText(compareTo);
    // Like a text search, nothing is found for an empty text.
    case ConditionOperator::contains:
        return !compareTo.empty()
            && loweredText(value).find(loweredText(compareTo)) != std::string::npos;
    case ConditionOperator::startsWith:
        return loweredText(value).starts_with(loweredText(compareTo));
    case ConditionOperator::endsWith:
        return loweredText(value).ends_with(loweredText(compareTo));
    case ConditionOperator::matchesRegex:
        return regexFinds(compareTo, value);
    case ConditionOperator::isEmpty:
        return trimmedWhitespaceAndNewlines(value).empty();
    case ConditionOperator::isNotEmpty:
        return !trimmedWhitespaceAndNewlines(value).empty();
    }
    return false;
}

// "30" for a timeout of 30.9 seconds.
std::string wholeSeconds(Seconds timeout)
{
    char buffer[400];
    auto end = std::to_chars(
        buffer, buffer + sizeof buffer, std::trunc(timeout.count()), std::chars_format::fixed, 0)
                   .ptr;
    return std::string(buffer, end);
}

std::string scriptMessage(const ScriptResult& result, const std::string& output, Seconds timeout)
{
    if (result.timedOut)
        return "Timed out after " + wholeSeconds(timeout) + "s";
    if (result.exitCode == 0)
        return "Script output " + std::to_string(graphemeCount(output)) + " characters";
    return "Exited " + std::to_string(result.exitCode) + ": "
        + std::string(trimmedWhitespaceAndNewlines(result.stderrText()));
}

struct Pending {
    std::string nodeID {};
    std::string query {};
    Variables variables {};
};

} // namespace

struct WorkflowRunner::Outcome {
    std::string query {};
    std::string_view port = "out";
    std::string message {};
};

WorkflowRunner::WorkflowRunner(
    WorkflowEnvironment& environment, ScriptRunning& scripts, Seconds scriptTimeout)
    : m_environment(environment)
    , m_scripts(scripts)
    , m_scriptTimeout(scriptTimeout)
{
}

WorkflowRunLog WorkflowRunner::run(const Workflow& workflow, std::string_view startNodeID,
    std::string query, const Variables& variables, ConnectionModifier modifier) const
{
    WorkflowRunLog log;
    auto* start = workflow.nodeWithID(startNodeID);
    if (!start)
        return log;
    auto current = workflow.variables;
    for (auto& [name, value] : variables)
        current.insert_or_assign(name, sanitizedUTF8(value));
    query = sanitizedUTF8(query);
    if (auto* hotkey = start->kind.get<NodeKind::Hotkey>()) {
        if (hotkey->input == HotkeyInput::selectedText)
            query = sanitizedUTF8(m_environment.selectedText());
        else if (hotkey->input == HotkeyInput::clipboard)
            query = sanitizedUTF8(m_environment.clipboardText());
    }
    // The start node only starts: whatever its kind, it is not carried out.
    log.steps.push_back({ .nodeID = start->id,
        .nodeName = std::string(start->kind.displayName()),
        .query = query,
        .message = "Started" });
    log.finalQuery = query;

    // The held key counts only here; every later hop follows the plain branches.
    std::deque<Pending> queue;
    for (auto* connection : workflow.outgoing(start->id, "out", modifier))
        queue.push_back({ .nodeID = connection->to, .query = query, .variables = current });
    for (std::size_t taken = 0; !queue.empty() && taken < maximumSteps; ++taken) {
        auto entry = std::move(queue.front());
        queue.pop_front();
        auto* node = workflow.nodeWithID(entry.nodeID);
        if (!node)
            continue;
        auto outcome = carryOut(*node, entry.query, entry.variables);
        log.steps.push_back({ .nodeID = node->id,
            .nodeName = std::string(node->kind.displayName()),
            .query = outcome.query,
            .message = std::move(outcome.message) });
        log.finalQuery = outcome.query;
        for (auto* connection : workflow.outgoing(node->id, outcome.port, ConnectionModifier::none))
            queue.push_back(
                { .nodeID = connection->to, .query = outcome.query, .variables = entry.variables });
    }
    return log;
}

WorkflowRunner::Outcome WorkflowRunner::carryOut(
    const WorkflowNode& node, const std::string& query, Variables& variables) const
{
    auto expand = [&](const std::string& text, Encoding encoding = Encoding::none) {
        return expandTemplate(text, query, variables, encoding);
    };
    auto unchanged = [&](std::string message) {
        return Outcome { .query = query, .message = std::move(message) };
    };
    return std::visit(
        Overloaded {
            [&](const NodeKind::Keyword&) { return unchanged("Input passed through"); },
            [&](const NodeKind::Hotkey&) { return unchanged("Input passed through"); },
            [&](const NodeKind::ScriptFilter&) { return unchanged("Input passed through"); },
            [&](const NodeKind::ListFilter&) { return unchanged("Input passed through"); },
            [&](const NodeKind::OpenURL& open) {
                auto url = expand(open.url, Encoding::url);
                m_environment.openURL(url);
                return unchanged("Opened " + url);
            },
            [&](const NodeKind::OpenFile& open) {
                auto path = expandingTilde(expand(open.path));
                m_environment.openFile(path,
                    open.appBundleID.empty() ? std::nullopt : std::optional(open.appBundleID));
                return unchanged("Opened " + path);
            },
            [&](const NodeKind::RevealInFinder& reveal) {
                auto path = expandingTilde(expand(reveal.path));
                m_environment.revealInFinder(path);
                return unchanged("Revealed " + path);
            },
            [&](const NodeKind::RunScript& script) {
                // The script text runs as it stands; the query and the variables reach it as its
                // argument and its environment. A failed script still hands on its output.
                auto result = m_scripts.run(
                    script.language, script.script, query, variables, m_scriptTimeout);
                auto output = std::string(trimmedNewlines(result.stdoutText()));
                auto message = scriptMessage(result, output, m_scriptTimeout);
                return Outcome { .query = std::move(output), .message = std::move(message) };
            },
            [&](const NodeKind::CopyToClipboard& copy) {
                m_environment.copyToClipboard(expand(copy.text), copy.paste);
                return unchanged(copy.paste ? "Pasted" : "Copied");
            },
            [&](const NodeKind::Notification& notification) {
                m_environment.postNotification(
                    expand(notification.title), expand(notification.body));
                return unchanged("Notified");
            },
            [&](const NodeKind::LargeType& show) {
                m_environment.showLargeType(expand(show.text));
                return unchanged("Shown in Large Type");
            },
            [&](const NodeKind::SetVariable& set) {
                auto value = expand(set.value);
                if (!set.name.empty())
                    variables.insert_or_assign(set.name, value);
                return unchanged(set.name + " = " + value);
            },
            [&](const NodeKind::ReplaceQuery& replace) {
                auto value = expand(replace.value);
                return Outcome { .query = value, .message = "Query is now '" + value + "'" };
            },
            [&](const NodeKind::Condition& condition) {
                bool isTrue
                    = holds(condition.op, expand(condition.value), expand(condition.compareTo));
                return Outcome { .query = query,
                    .port = isTrue ? "true" : "false",
                    .message = isTrue ? "Condition true" : "Condition false" };
            },
        },
        node.kind.payload);
}

std::string WorkflowRunner::expandTemplate(
    std::string_view text, std::string_view query, const Variables& variables, Encoding encoding)
{
    auto encoded = [&](std::string_view value) {
        return encoding == Encoding::url ? percentEncode(value) : std::string(value);
    };
    // The query goes in first, so a query that holds "{var:x}" is expanded below unless its
    // braces were encoded.
    auto result = replacingAll(std::string(text), "{query}", encoded(query));
    if (result.find("{var:") == std::string::npos)
        return result;
    for (auto& [name, value] : variables) {
        auto placeholder = "{var:" + name + "}";
        if (result.find(placeholder) != std::string::npos)
            result = replacingAll(std::move(result), placeholder, encoded(value));
    }
    return result;
}

std::string WorkflowRunner::percentEncode(std::string_view text)
{
    constexpr std::string_view kept = "-._~!$'()*,;:@/";
    constexpr char hexDigits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (char character : text) {
        auto byte = static_cast<unsigned char>(character);
        bool isKept = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z')
            || (byte >= '0' && byte <= '9') || kept.find(character) != std::string_view::npos;
        if (isKept) {
            encoded += character;
            continue;
        }
        encoded += '%';
        encoded += hexDigits[byte >> 4];
        encoded += hexDigits[byte & 0x0F];
    }
    return encoded;
}

} // namespace zeph
