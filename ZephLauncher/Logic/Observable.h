#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace zeph {

// Ends a subscription when it goes; keep it as long as the subscriber lives.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> end)
        : m_end(std::move(end))
    {
    }
    Subscription(Subscription&& other) noexcept
        : m_end(std::exchange(other.m_end, nullptr))
    {
    }
    Subscription& operator=(Subscription&& other) noexcept
    {
        if (this != &other) {
            reset();
            m_end = std::exchange(other.m_end, nullptr);
        }
        return *this;
    }
    ~Subscription() { reset(); }
    void reset()
    {
        if (m_end)
            std::exchange(m_end, nullptr)();
    }

private:
    std::function<void()> m_end;
};

// A value that tells its subscribers of every new value, in the order they subscribed, on the
// thread that sets it (the main thread). A subscriber hears later values, never the present one,
// so that start-up alone sets nothing off.
template <typename Value> class Observable {
public:
    using Observer = std::function<void(const Value&)>;

    explicit Observable(Value value = {})
        : m_value(std::move(value))
        , m_observers(std::make_shared<std::vector<std::pair<int, Observer>>>())
    {
    }
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    const Value& get() const { return m_value; }
    void set(Value value)
    {
        m_value = std::move(value);
        // A copy: an observer may subscribe or unsubscribe while it is told.
        auto observers = *m_observers;
        for (auto& [id, observer] : observers)
            observer(m_value);
    }
    // Changes the value in place, then tells everyone.
    template <typename Change> void change(Change&& change)
    {
        auto value = m_value;
        change(value);
        set(std::move(value));
    }

    [[nodiscard]] Subscription subscribe(Observer observer)
    {
        auto id = ++m_lastID;
        m_observers->emplace_back(id, std::move(observer));
        std::weak_ptr<std::vector<std::pair<int, Observer>>> observers = m_observers;
        return Subscription([observers, id] {
            if (auto alive = observers.lock())
                std::erase_if(*alive, [id](const auto& entry) { return entry.first == id; });
        });
    }

private:
    Value m_value;
    std::shared_ptr<std::vector<std::pair<int, Observer>>> m_observers;
    int m_lastID = 0;
};

} // namespace zeph
