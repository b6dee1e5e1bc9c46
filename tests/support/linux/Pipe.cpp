#include "support/Pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace testing_support {

namespace {

void closeEnd(int& end) {
    if (end >= 0)
        close(std::exchange(end, -1));
}

}  // namespace

Pipe::Pipe() {
    EXPECT_EQ(pipe2(m_ends.data(), O_CLOEXEC), 0);
}

Pipe::~Pipe() {
    closeReader();
    closeWriter();
}

void Pipe::closeReader() {
    closeEnd(m_ends[0]);
}

void Pipe::closeWriter() {
    closeEnd(m_ends[1]);
}

std::string Pipe::read(std::size_t bytes) const {
    std::string text;
    std::array<char, 65536> piece{};
    while (text.size() < bytes) {
        const ssize_t got = ::read(m_ends[0], piece.data(), std::min(piece.size(), bytes - text.size()));
        if (got <= 0)
            break;
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
}

void Pipe::write(std::string_view text) const {
    EXPECT_EQ(::write(m_ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

}  // namespace testing_support
