#include "Logic/HotKeyCenter.h"

#include <algorithm>

namespace zeph {

HotKeyCenter::HotKeyCenter(HotKeyService& service, MainLoop& loop)
    : m_service(service)
    , m_loop(loop)
{
    // The service may hear a press on a thread of its own; the action runs on the main thread,
    // and only if the shortcut is still registered and live when it gets there.
    m_service.setHandler([this](std::uint32_t id) { m_loop.post([this, id] { pressed(id); }); });
}

std::optional<std::uint32_t> HotKeyCenter::register_(const KeyCombo& combo, Action action)
{
    if (!combo.isValid())
        return std::nullopt;
    // Every attempt uses its number up, refused or not.
    auto id = m_nextID++;
    bool isHeldHere = std::any_of(m_registrations.begin(), m_registrations.end(),
        [&](const auto& entry) { return entry.second.combo == combo; });
    if (isHeldHere)
        return std::nullopt;
    if (!m_isSuspended && !m_service.grab(id, combo))
        return std::nullopt;
    m_registrations[id] = { .isHeld = !m_isSuspended, .combo = combo, .action = std::move(action) };
    return id;
}

void HotKeyCenter::unregister(std::uint32_t id)
{
    auto found = m_registrations.find(id);
    if (found == m_registrations.end())
        return;
    if (found->second.isHeld)
        m_service.release(id);
    m_registrations.erase(found);
}

void HotKeyCenter::unregister(const std::vector<std::uint32_t>& ids)
{
    for (auto id : ids)
        unregister(id);
}

void HotKeyCenter::setSuspended(bool isSuspended)
{
    if (isSuspended == m_isSuspended)
        return;
    m_isSuspended = isSuspended;
    for (auto& [id, registration] : m_registrations) {
        if (isSuspended) {
            if (registration.isHeld)
                m_service.release(id);
            registration.isHeld = false;
        } else {
            // Taken meanwhile by another program: silently dead until the next change.
            registration.isHeld = m_service.grab(id, registration.combo);
        }
    }
}

bool HotKeyCenter::isLive(std::uint32_t id) const
{
    auto found = m_registrations.find(id);
    return found != m_registrations.end() && found->second.isHeld;
}

void HotKeyCenter::pressed(std::uint32_t id)
{
    auto found = m_registrations.find(id);
    if (m_isSuspended || found == m_registrations.end())
        return;
    // The action may unregister itself; it runs from a copy.
    auto action = found->second.action;
    action();
}

} // namespace zeph
