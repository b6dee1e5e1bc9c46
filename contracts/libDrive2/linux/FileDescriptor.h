#pragma once

#include <unistd.h>

#include <utility>

#include "zel/Uninterrupted.h"

namespace libDrive2 {

using zel::uninterrupted;

/// Owns an open file descriptor; -1 for none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    /// Somebody else owns it from now on.
    int release() { return std::exchange(m_fd, -1); }
    /// False when closing reported an error.
    bool reset() { return m_fd < 0 || ::close(std::exchange(m_fd, -1)) == 0; }

private:
    int m_fd = -1;
};

}  // namespace libDrive2
