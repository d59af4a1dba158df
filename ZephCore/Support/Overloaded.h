#pragma once

namespace zeph {

// One visitor from several lambdas, for std::visit over the enumerations with payloads.
template <typename... Lambdas> struct Overloaded : Lambdas... {
    using Lambdas::operator()...;
};
// Clang deduces no aggregate without it.
template <typename... Lambdas> Overloaded(Lambdas...) -> Overloaded<Lambdas...>;

} // namespace zeph
