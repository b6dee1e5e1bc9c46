#pragma once

#include <utility>

#include "zel/windows/SystemCalls.h"

namespace zel {

/// Owns an open handle of Windows; INVALID_HANDLE_VALUE for none.
class Handle {
public:
    Handle() = default;
    explicit Handle(HANDLE handle) : m_handle(handle == nullptr ? INVALID_HANDLE_VALUE : handle) {}
    ~Handle() { reset(); }
    Handle(Handle&& other) noexcept : m_handle(other.release()) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    [[nodiscard]] HANDLE get() const { return m_handle; }
    explicit operator bool() const { return m_handle != INVALID_HANDLE_VALUE; }
    /// Somebody else owns it from now on.
    HANDLE release() { return std::exchange(m_handle, INVALID_HANDLE_VALUE); }
    /// False when closing reported an error.
    bool reset() { return !*this || SystemCalls::current().closeHandle(release()) != FALSE; }

private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

}  // namespace zel
