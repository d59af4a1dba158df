#pragma once

#include "Logic/HotKeyService.h"
#include "Logic/MainLoop.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace zeph {

// All global shortcuts of the application, the launcher's own and those of workflows, over the
// desktop's service: callbacks on the main thread, and a suspended state in which none is live, so
// that the shortcut recorder can hear a combination that is taken.
class HotKeyCenter {
public:
    using Action = std::function<void()>;

    HotKeyCenter(HotKeyService& service, MainLoop& loop);
    HotKeyCenter(const HotKeyCenter&) = delete;
    HotKeyCenter& operator=(const HotKeyCenter&) = delete;

    // The registration's id; nothing for a combination that is no shortcut (a bare letter), that
    // another program holds, or that this center holds already (the desktop would take it twice
    // without a word). While suspended every valid combination is taken, and goes live on resume.
    std::optional<std::uint32_t> register_(const KeyCombo& combo, Action action);
    void unregister(std::uint32_t id);
    void unregister(const std::vector<std::uint32_t>& ids);
    void setSuspended(bool isSuspended);

    bool isSuspended() const { return m_isSuspended; }
    // Whether the registration holds its combination now.
    bool isLive(std::uint32_t id) const;

private:
    struct Registration {
        bool isHeld = false;
        KeyCombo combo {};
        Action action {};
    };

    void pressed(std::uint32_t id);

    HotKeyService& m_service;
    MainLoop& m_loop;
    std::map<std::uint32_t, Registration> m_registrations;
    std::uint32_t m_nextID = 1;
    bool m_isSuspended = false;
};

} // namespace zeph
