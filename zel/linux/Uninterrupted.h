#pragma once

#include <cerrno>

namespace zel {

/// Makes a system call again as long as a signal interrupts it.
template <class Call>
auto uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

}  // namespace zel
