#pragma once

namespace dovra {

/// Several callables as one overload set, for `std::visit`.
template <typename... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};

template <typename... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

}  // namespace dovra
