#pragma once

#include "Workflows/ScriptRunning.h"

#include <functional>
#include <mutex>
#include <vector>

namespace zeph {

// Starts no process: answers every script through `answer` (by default, exit 0 with the query as
// output) and records each call.
class StubScriptRunner final : public ScriptRunning {
public:
    struct Call {
        ScriptLanguage language = ScriptLanguage::zsh;
        std::string script {};
        std::string query {};
        Variables variables {};
        Seconds timeout {};
        bool operator==(const Call&) const = default;
    };

    std::function<ScriptResult(const Call&)> answer
        = [](const Call& call) { return ScriptResult { .stdout = call.query }; };

    ScriptResult run(ScriptLanguage language, const std::string& script, const std::string& query,
        const Variables& variables, Seconds timeout) override
    {
        Call call { language, script, query, variables, timeout };
        std::lock_guard guard(m_lock);
        m_calls.push_back(call);
        return answer(call);
    }

    std::vector<Call> calls() const
    {
        std::lock_guard guard(m_lock);
        return m_calls;
    }

private:
    mutable std::mutex m_lock;
    std::vector<Call> m_calls;
};

} // namespace zeph
