#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace zeph {

// A failure someone can act on: the message is a sentence naming the file or value.
struct Error {
    std::string message {};
    bool operator==(const Error&) const = default;
};

// A value or an Error. The member names follow std::expected so that this can become an alias.
template<typename T>
class [[nodiscard]] Result {
public:
    Result(T value)
        : m_storage(std::in_place_index<0>, std::move(value))
    {
    }
    Result(Error error)
        : m_storage(std::in_place_index<1>, std::move(error))
    {
    }

    bool has_value() const { return m_storage.index() == 0; }
    explicit operator bool() const { return has_value(); }

    T& value() & { return std::get<0>(m_storage); }
    const T& value() const& { return std::get<0>(m_storage); }
    T&& value() && { return std::get<0>(std::move(m_storage)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T&& operator*() && { return std::move(*this).value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    const Error& error() const { return std::get<1>(m_storage); }

    template<typename U>
    T value_or(U&& fallback) const&
    {
        return has_value() ? value() : static_cast<T>(std::forward<U>(fallback));
    }

private:
    std::variant<T, Error> m_storage;
};

} // namespace zeph
