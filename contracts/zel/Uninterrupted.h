#pragma once

#include <cerrno>

namespace zel {

/// Makes a system call again as long as a signal interrupts it: signals restart nothing by themselves, so
/// that they can end what waits. `call` gives a negative number and sets errno on failure.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

}  // namespace zel
