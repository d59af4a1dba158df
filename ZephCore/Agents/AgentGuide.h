#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace zeph {

// What describe_zeph tells an agent: what it may create, the review rules, the workflow spec with
// every node type and its fields, how data flows, scripts, testing and snippets. Scripts are said
// to run in `workflowsFolder`, written with "~" when it lies in `home`.
std::string agentGuide(
    const std::filesystem::path& workflowsFolder, const std::optional<std::string>& home);

} // namespace zeph
