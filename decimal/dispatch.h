// Dispatch on an item's size: one table of the instances of a template,
// built at compile time, in place of a hand-written switch per caller.
#pragma once

#include <array>
#include <utility>

namespace bcd {

// {make.operator()<First>(), ..., make.operator()<First + Count - 1>()}: a
// table of function pointers, indexed by size - First.  Called through
// the table the instance is one indirect jump away, as through the jump
// table of a switch, and each instance saves only the registers it uses.
template <int First, int Count, class Make>
consteval auto bySize(Make make) {
    return [&]<int... K>(std::integer_sequence<int, K...>) {
        return std::array{make.template operator()<First + K>()...};
    }(std::make_integer_sequence<int, Count>());
}

}  // namespace bcd
