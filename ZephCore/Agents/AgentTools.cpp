#include "Agents/AgentTools.h"

#include "Agents/AgentGuide.h"
#include "Agents/ProcessScriptRunnerOverride.h"
#include "Agents/WorkflowSpec.h"
#include "Snippets/SnippetTemplate.h"
#include "Storage/Paths.h"
#include "Support/Calendar.h"
#include "Support/Text.h"
#include "Support/UUID.h"
#include "Workflows/WorkflowLibrary.h"
#include "Workflows/WorkflowTestRun.h"

#include <algorithm>
#include <exception>

namespace zeph {

namespace {

using Text = zeph::Result<std::string>;

struct Context {
    AgentStore& store;
    ScriptRunning& scripts;
};

// The schemas' building blocks.
Json::Value typed(const char* type, const char* description = nullptr)
{
    Json::Value property { { "type", type } };
    if (description)
        property["description"] = description;
    return property;
}

Json::Value idProperty()
{
    return typed("string", "The id from list_workflows or list_snippets.");
}

Json::Value specProperty()
{
    auto property = typed("object",
        "A workflow spec: {name, summary?, variables?, nodes: [{id, type, …fields}], connections: "
        "[{from, to, port?, modifier?}]}. Call describe_zeph for node types and fields.");
    property["properties"] = {
        { "name", typed("string") },
        { "summary", typed("string") },
        { "variables", { { "type", "object" }, { "additionalProperties", typed("string") } } },
        { "nodes", { { "type", "array" }, { "items", typed("object") } } },
        { "connections", { { "type", "array" }, { "items", typed("object") } } },
    };
    property["required"] = { "name", "nodes" };
    return property;
}

Json::Value schema(
    Json::Value properties = Json::Value::object(), std::vector<std::string> required = {})
{
    return { { "type", "object" }, { "properties", std::move(properties) },
        { "required", std::move(required) } };
}

// Pretty-printed, with sorted keys.
std::string jsonText(const Json::Value& value)
{
    return value.dump(2, ' ', false, Json::Value::error_handler_t::replace);
}

const Json::Value* argument(const Json::Value& arguments, const char* key)
{
    auto found = arguments.find(key);
    return found == arguments.end() ? nullptr : &*found;
}

std::optional<std::string> textArgument(const Json::Value& arguments, const char* key)
{
    auto* value = argument(arguments, key);
    if (!value || !value->is_string())
        return std::nullopt;
    return value->get<std::string>();
}

// A text that is not empty once white space is trimmed, trimmed.
Text requiredText(const Json::Value& arguments, const char* key)
{
    auto text = textArgument(arguments, key);
    auto trimmed = text ? trimmedWhitespaceAndNewlines(*text) : std::string_view {};
    if (trimmed.empty())
        return Error { "\"" + std::string(key) + "\" is required." };
    return std::string(trimmed);
}

bool hasWhitespace(std::string_view text)
{
    for (std::size_t offset = 0; offset < text.size();) {
        if (isWhitespaceOrNewline(decodeScalar(text, offset)))
            return true;
    }
    return false;
}

// The workflow spec: an object, or text that holds one.
zeph::Result<Workflow> workflowArgument(
    const Json::Value& arguments, std::optional<std::string> id = std::nullopt)
{
    Error wrongShape { "Pass the workflow spec as \"workflow\": {name, nodes, connections}." };
    auto* value = argument(arguments, "workflow");
    if (!value)
        return wrongShape;
    if (value->is_object())
        return WorkflowSpec::parse(*value, std::move(id));
    if (!value->is_string() || Json::nestsDeeperThan(value->get_ref<const std::string&>()))
        return wrongShape;
    auto parsed = Json::parse(value->get_ref<const std::string&>());
    if (!parsed || !parsed->is_object())
        return wrongShape;
    return WorkflowSpec::parse(*parsed, std::move(id));
}

void markForReview(Workflow& workflow)
{
    workflow.isEnabled = false;
    workflow.createdByAgent = true;
    workflow.pendingReview = true;
}

std::string problemsText(const std::vector<std::string>& problems, std::string_view header)
{
    std::string text(header);
    for (auto& problem : problems)
        text.append("\n- ").append(problem);
    return text;
}

std::vector<Workflow>::iterator findWorkflow(AgentDocuments& documents, const std::string& id)
{
    return std::find_if(documents.workflows.begin(), documents.workflows.end(),
        [&](const Workflow& workflow) { return workflow.id == id; });
}

// The workflow an agent may change, or why not.
zeph::Result<std::vector<Workflow>::iterator> agentsWorkflow(
    AgentDocuments& documents, const std::string& id, std::string_view verb)
{
    auto found = findWorkflow(documents, id);
    if (found == documents.workflows.end())
        return Error { "No workflow with id \"" + id + "\"." };
    if (!found->createdByAgent) {
        std::string message = "\"" + found->name + "\" was made by the user; agents can only "
            + std::string(verb) + " workflows they created.";
        if (verb == "change")
            message += " Create a new one instead.";
        return Error { std::move(message) };
    }
    return found;
}

struct SnippetPlace {
    SnippetCollection* collection = nullptr;
    std::vector<Snippet>::iterator snippet {};
};

// The snippet an agent may change, or why not.
zeph::Result<SnippetPlace> agentsSnippet(
    AgentDocuments& documents, const std::string& id, std::string_view verb)
{
    for (auto& collection : documents.snippets) {
        auto found = std::find_if(collection.snippets.begin(), collection.snippets.end(),
            [&](const Snippet& snippet) { return snippet.id == id; });
        if (found == collection.snippets.end())
            continue;
        if (!found->createdByAgent)
            return Error { "\"" + found->name + "\" was made by the user; agents can only "
                + std::string(verb) + " snippets they created." };
        return SnippetPlace { .collection = &collection, .snippet = found };
    }
    return Error { "No snippet with id \"" + id + "\". Use list_snippets." };
}

std::string installedText(std::string_view firstLine, const std::vector<std::string>& problems)
{
    std::string text(firstLine);
    text += "\nIt is disabled until the user reviews and approves it in Zeph Launcher → Settings → "
            "Workflows.";
    if (!problems.empty())
        text += "\n" + problemsText(problems, "Problems to fix (use update_workflow):");
    return text;
}

Text describeZeph(Context& context, const Json::Value&)
{
    return agentGuide(context.store.workflowsFolder(), Paths::Environment::current().home);
}

Text listWorkflows(Context& context, const Json::Value&)
{
    Json::Value workflows = Json::Value::array();
    for (auto& workflow : context.store.read().workflows) {
        workflows.push_back({
            { "id", workflow.id },
            { "name", workflow.name },
            { "summary", workflow.summary },
            { "keywords", workflow.keywords() },
            { "enabled", workflow.isEnabled },
            { "pendingReview", workflow.pendingReview },
            { "createdByAgent", workflow.createdByAgent },
        });
    }
    return jsonText({ { "workflows", std::move(workflows) } });
}

Text getWorkflow(Context& context, const Json::Value& arguments)
{
    auto id = requiredText(arguments, "id");
    if (!id)
        return id.error();
    auto documents = context.store.read();
    auto found = findWorkflow(documents, *id);
    if (found == documents.workflows.end())
        return Error { "No workflow with id \"" + *id + "\". Use list_workflows." };
    return jsonText(WorkflowSpec::toSpec(*found));
}

Text validateWorkflow(Context& context, const Json::Value& arguments)
{
    auto workflow = workflowArgument(arguments);
    if (!workflow)
        return workflow.error();
    auto problems = WorkflowLibrary::validate(*workflow, context.store.read().workflows);
    if (problems.empty())
        return std::string("Valid. No problems found.");
    return problemsText(problems, "Problems:");
}

Text createWorkflow(Context& context, const Json::Value& arguments)
{
    auto workflow = workflowArgument(arguments, makeUUID());
    if (!workflow)
        return workflow.error();
    markForReview(*workflow);
    auto problems = transact<std::vector<std::string>>(
        context.store, [&](AgentDocuments& documents) -> zeph::Result<std::vector<std::string>> {
            auto found = WorkflowLibrary::validate(*workflow, documents.workflows);
            documents.workflows.push_back(*workflow);
            return found;
        });
    if (!problems)
        return problems.error();
    return installedText(
        "Installed workflow \"" + workflow->name + "\" with id " + workflow->id + ".", *problems);
}

Text updateWorkflow(Context& context, const Json::Value& arguments)
{
    auto id = requiredText(arguments, "id");
    if (!id)
        return id.error();
    auto workflow = workflowArgument(arguments, *id);
    if (!workflow)
        return workflow.error();
    markForReview(*workflow);
    auto problems = transact<std::vector<std::string>>(
        context.store, [&](AgentDocuments& documents) -> zeph::Result<std::vector<std::string>> {
            auto found = agentsWorkflow(documents, *id, "change");
            if (!found)
                return found.error();
            **found = *workflow;
            return WorkflowLibrary::validate(*workflow, documents.workflows);
        });
    if (!problems)
        return problems.error();
    return installedText("Updated workflow \"" + workflow->name + "\".", *problems);
}

Text deleteWorkflow(Context& context, const Json::Value& arguments)
{
    auto id = requiredText(arguments, "id");
    if (!id)
        return id.error();
    return transact<std::string>(context.store, [&](AgentDocuments& documents) -> Text {
        auto found = agentsWorkflow(documents, *id, "delete");
        if (!found)
            return found.error();
        auto name = (*found)->name;
        documents.workflows.erase(*found);
        return "Deleted workflow \"" + name + "\".";
    });
}

Text testWorkflow(Context& context, const Json::Value& arguments)
{
    Workflow workflow;
    bool isInstalled = false;
    if (auto id = textArgument(arguments, "id"); id && !trimmedWhitespaceAndNewlines(*id).empty()) {
        auto documents = context.store.read();
        auto found = findWorkflow(documents, *id);
        if (found == documents.workflows.end())
            return Error { "No workflow with id \"" + *id + "\"." };
        workflow = std::move(*found);
        isInstalled = true;
    } else {
        auto parsed = workflowArgument(arguments);
        if (!parsed)
            return parsed.error();
        workflow = std::move(*parsed);
    }
    auto query = textArgument(arguments, "query").value_or("");
    const WorkflowNode* start = nullptr;
    if (auto node = textArgument(arguments, "node"); node && !node->empty()) {
        start = workflow.nodeWithID(*node);
        if (!start)
            return Error { "No node \"" + *node + "\" in the workflow." };
    } else {
        auto inputs = workflow.inputNodes();
        if (inputs.empty())
            return Error { "The workflow has no input node to start from." };
        start = inputs.front();
    }

    // A spec's workflow has a folder only for this run; one left empty is removed afterwards.
    // (Its id is a new UUID, a plain folder name.)
    auto ownFolder = context.store.workflowsFolder() / workflow.id;
    bool isFreshFolder = !isInstalled && !std::filesystem::exists(ownFolder);
    auto directory = context.store.workflowDirectory(workflow.id);
    ProcessScriptRunnerOverride scripts(context.scripts, directory);
    auto lines = WorkflowTestRun::report(workflow, *start, query, scripts, AgentTools::testTimeout);
    if (isFreshFolder && directory == ownFolder) {
        std::error_code ignored;
        std::filesystem::remove(directory, ignored);
    }
    std::string text;
    for (auto& line : lines)
        text.append(text.empty() ? "" : "\n").append(line);
    return text;
}

Text listSnippets(Context& context, const Json::Value&)
{
    Json::Value collections = Json::Value::array();
    for (auto& collection : context.store.read().snippets) {
        Json::Value snippets = Json::Value::array();
        for (auto& snippet : collection.snippets) {
            snippets.push_back({
                { "id", snippet.id },
                { "name", snippet.name },
                { "keyword", snippet.keyword },
                { "type", collection.triggerText(snippet).value_or("") },
                { "content", snippet.content },
                { "enabled", snippet.isEnabled },
                { "autoExpand", snippet.autoExpands },
                { "pendingReview", snippet.pendingReview },
                { "createdByAgent", snippet.createdByAgent },
            });
        }
        collections.push_back({
            { "id", collection.id },
            { "name", collection.name },
            { "prefix", collection.prefix },
            { "enabled", collection.isEnabled },
            { "snippets", std::move(snippets) },
        });
    }
    return jsonText({ { "collections", std::move(collections) } });
}

std::optional<bool> boolArgument(const Json::Value& arguments, const char* key)
{
    auto* value = argument(arguments, key);
    if (!value || value->is_null())
        return std::nullopt;
    return WorkflowSpec::lenientBool(*value);
}

Text createSnippet(Context& context, const Json::Value& arguments)
{
    auto name = requiredText(arguments, "name");
    if (!name)
        return name.error();
    auto keyword = requiredText(arguments, "keyword");
    if (!keyword)
        return keyword.error();
    if (hasWhitespace(*keyword))
        return Error { "A keyword can't contain spaces." };
    auto content = textArgument(arguments, "content");
    if (!content || content->empty())
        return Error { "\"content\" is required." };
    Snippet snippet { .id = makeUUID(),
        .name = *name,
        .keyword = *keyword,
        .content = *content,
        .isEnabled = false,
        .autoExpands = boolArgument(arguments, "autoExpand").value_or(true),
        .createdByAgent = true,
        .pendingReview = true };
    return transact<std::string>(context.store, [&](AgentDocuments& documents) -> Text {
        auto& collections = documents.snippets;
        auto own = std::find_if(
            collections.begin(), collections.end(), [](const SnippetCollection& collection) {
                return collection.id == agentSnippetCollectionID;
            });
        if (own == collections.end()) {
            collections.push_back(
                { .id = agentSnippetCollectionID, .name = "From AI Agents", .prefix = ";" });
            own = collections.end() - 1;
        }
        auto typed = own->triggerText(snippet).value_or("");
        std::optional<std::string> other;
        for (auto& collection : collections) {
            for (auto& existing : collection.snippets) {
                if (!other && collection.isEnabled && existing.isEnabled
                    && collection.triggerText(existing) == typed)
                    other = existing.name;
            }
        }
        own->snippets.push_back(snippet);
        auto text = "Added snippet \"" + snippet.name + "\" (id " + snippet.id + "); type " + typed
            + " to expand it once approved.\nIt is disabled until the user reviews and approves "
              "it in Zeph Launcher → Settings → Snippets.";
        if (other)
            text += "\nNote: " + typed + " is already used by \"" + *other
                + "\"; consider another keyword.";
        return text;
    });
}

Text updateSnippet(Context& context, const Json::Value& arguments)
{
    auto id = requiredText(arguments, "id");
    if (!id)
        return id.error();
    return transact<std::string>(context.store, [&](AgentDocuments& documents) -> Text {
        auto place = agentsSnippet(documents, *id, "change");
        if (!place)
            return place.error();
        auto& snippet = *place->snippet;
        if (auto keyword = textArgument(arguments, "keyword")) {
            auto trimmed = trimmedWhitespaceAndNewlines(*keyword);
            if (trimmed.empty() || hasWhitespace(trimmed))
                return Error { "A keyword can't be empty or contain spaces." };
            snippet.keyword = trimmed;
        }
        if (auto name = textArgument(arguments, "name")) {
            if (trimmedWhitespaceAndNewlines(*name).empty())
                return Error { "\"name\" is required." };
            snippet.name = trimmedWhitespaceAndNewlines(*name);
        }
        if (auto content = textArgument(arguments, "content")) {
            if (content->empty())
                return Error { "\"content\" is required." };
            snippet.content = *content;
        }
        if (auto autoExpand = boolArgument(arguments, "autoExpand"))
            snippet.autoExpands = *autoExpand;
        snippet.isEnabled = false;
        snippet.pendingReview = true;
        return "Updated snippet \"" + snippet.name
            + "\". It is disabled until the user approves the change.";
    });
}

Text deleteSnippet(Context& context, const Json::Value& arguments)
{
    auto id = requiredText(arguments, "id");
    if (!id)
        return id.error();
    return transact<std::string>(context.store, [&](AgentDocuments& documents) -> Text {
        auto place = agentsSnippet(documents, *id, "delete");
        if (!place)
            return place.error();
        auto name = place->snippet->name;
        place->collection->snippets.erase(place->snippet);
        return "Deleted snippet \"" + name + "\".";
    });
}

Text previewSnippet(Context&, const Json::Value& arguments)
{
    auto content = textArgument(arguments, "content");
    if (!content || content->empty())
        return Error { "\"content\" is required." };
    auto calendar = Calendar::current();
    SnippetTemplate::Context templateContext { .date = currentDate(),
        .clipboard = textArgument(arguments, "clipboard").value_or("‹clipboard›"),
        .locale = calendar.locale,
        .timeZone = calendar.timeZone };
    if (auto* fills = argument(arguments, "fills"); fills && fills->is_object()) {
        for (auto& [name, value] : fills->items()) {
            if (auto text = WorkflowSpec::lenientText(value))
                templateContext.fills.emplace(name, std::move(*text));
        }
    }
    auto rendered = SnippetTemplate::render(*content, templateContext);
    std::vector<std::string> notes;
    if (auto offset = rendered.cursorOffsetFromEnd)
        notes.push_back("(cursor ends " + std::to_string(*offset) + " character"
            + (*offset == 1 ? "" : "s") + " before the end)");
    std::string asked;
    for (auto& field : SnippetTemplate::fillFields(*content)) {
        if (!templateContext.fills.contains(field.name))
            asked.append(asked.empty() ? "" : ", ").append(field.name);
    }
    if (!asked.empty())
        notes.push_back("(asks the user for: " + asked + ")");
    auto text = std::move(rendered.text);
    if (!notes.empty())
        text += "\n";
    for (auto& note : notes)
        text.append("\n").append(note);
    return text;
}

using Handler = Text (*)(Context&, const Json::Value&);

struct Entry {
    AgentTools::Tool tool {};
    Handler handler = nullptr;
};

const std::vector<Entry>& catalogue()
{
    static const std::vector<Entry> entries {
        { { "describe_zeph",
              "Explains Zeph Launcher workflows and snippets: every node type and its fields, "
              "placeholders ({query}, {var:name}), script filter JSON, snippet placeholders and "
              "the review rules. Call this first.",
              schema() },
            describeZeph },
        { { "list_workflows",
              "Lists installed workflows with id, name, keywords, enabled and review state.",
              schema() },
            listWorkflows },
        { { "get_workflow",
              "Returns one workflow as a spec (the same format create_workflow takes).",
              schema({ { "id", idProperty() } }, { "id" }) },
            getWorkflow },
        { { "validate_workflow",
              "Checks a workflow spec without installing it and lists any problems.",
              schema({ { "workflow", specProperty() } }, { "workflow" }) },
            validateWorkflow },
        { { "create_workflow",
              "Installs a new workflow. It arrives disabled and marked for review; the user "
              "approves it in Zeph Launcher's Settings → Workflows.",
              schema({ { "workflow", specProperty() } }, { "workflow" }) },
            createWorkflow },
        { { "update_workflow",
              "Replaces a workflow you created earlier with a new spec. It goes back to disabled "
              "and awaiting review.",
              schema({ { "id", idProperty() }, { "workflow", specProperty() } },
                  { "id", "workflow" }) },
            updateWorkflow },
        { { "delete_workflow", "Deletes a workflow you created.",
              schema({ { "id", idProperty() } }, { "id" }) },
            deleteWorkflow },
        { { "test_workflow",
              "Dry-runs a workflow (an installed one by id, or a spec) with a sample query. "
              "Scripts really run; actions such as opening URLs or copying are only reported. For "
              "script filters, shows the items the script returned.",
              schema(
                  {
                      { "id", idProperty() },
                      { "workflow", specProperty() },
                      { "query", typed("string", "The text typed after the keyword.") },
                      { "node",
                          typed("string",
                              "Input node id to start from (default: the first input).") },
                  },
                  { "query" }) },
            testWorkflow },
        { { "list_snippets",
              "Lists snippets by collection with id, name, keyword, the full text to type, "
              "enabled and review state.",
              schema() },
            listSnippets },
        { { "create_snippet",
              "Adds a snippet to the \"From AI Agents\" collection (typed with a ; prefix, e.g. "
              "keyword \"addr\" → ;addr). It arrives disabled and marked for review.",
              schema(
                  {
                      { "name", typed("string") },
                      { "keyword", typed("string", "Abbreviation without the collection prefix.") },
                      { "content",
                          typed("string",
                              "Text to insert; may use snippet placeholders (see "
                              "describe_zeph).") },
                      { "autoExpand",
                          typed("boolean",
                              "Expand when typed (default true). False: only inserted from the "
                              "launcher.") },
                  },
                  { "name", "keyword", "content" }) },
            createSnippet },
        { { "update_snippet",
              "Changes a snippet you created; omitted fields keep their value. It goes back to "
              "disabled and awaiting review.",
              schema(
                  {
                      { "id", idProperty() },
                      { "name", typed("string") },
                      { "keyword", typed("string") },
                      { "content", typed("string") },
                      { "autoExpand", typed("boolean") },
                  },
                  { "id" }) },
            updateSnippet },
        { { "delete_snippet", "Deletes a snippet you created.",
              schema({ { "id", idProperty() } }, { "id" }) },
            deleteSnippet },
        { { "preview_snippet",
              "Renders snippet text with its placeholders filled in, to check the result.",
              schema(
                  {
                      { "content", typed("string") },
                      { "fills", typed("object", "Values for {fill:Name} fields.") },
                      { "clipboard", typed("string", "Stand-in clipboard text.") },
                  },
                  { "content" }) },
            previewSnippet },
    };
    return entries;
}

const Entry* entryNamed(std::string_view name)
{
    auto& entries = catalogue();
    auto found = std::find_if(entries.begin(), entries.end(),
        [&](const Entry& entry) { return entry.tool.name == name; });
    return found == entries.end() ? nullptr : &*found;
}

} // namespace

AgentTools::AgentTools(AgentStore& store, ScriptRunning& scripts)
    : m_store(store)
    , m_scripts(scripts)
{
}

const std::vector<AgentTools::Tool>& AgentTools::tools()
{
    static const std::vector<Tool> tools = [] {
        std::vector<Tool> list;
        for (auto& entry : catalogue())
            list.push_back(entry.tool);
        return list;
    }();
    return tools;
}

bool AgentTools::hasTool(std::string_view name)
{
    return entryNamed(name) != nullptr;
}

AgentTools::Result AgentTools::call(std::string_view name, const Json::Value& arguments)
{
    auto* entry = entryNamed(name);
    if (!entry)
        return { "Unknown tool \"" + std::string(name) + "\".", true };
    static const Json::Value none = Json::Value::object();
    Context context { m_store, m_scripts };
    try {
        auto text = entry->handler(context, arguments.is_object() ? arguments : none);
        if (!text)
            return { text.error().message, true };
        return { std::move(*text), false };
    } catch (const std::exception& exception) {
        // Running out of memory or a library's surprise is still an answer the agent can read.
        return { "Failed: " + std::string(exception.what()), true };
    }
}

} // namespace zeph
