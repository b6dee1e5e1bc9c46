#include "support/Pipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <io.h>

#include <algorithm>
#include <utility>

namespace testing_support {

namespace {

constexpr unsigned kRoom = 65536;

void closeEnd(int& end) {
    if (end >= 0)
        _close(std::exchange(end, -1));
}

}  // namespace

Pipe::Pipe() {
    EXPECT_EQ(_pipe(m_ends.data(), kRoom, _O_BINARY | _O_NOINHERIT), 0);
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
    std::array<char, kRoom> piece{};
    while (text.size() < bytes) {
        const auto most = static_cast<unsigned>(std::min(piece.size(), bytes - text.size()));
        const int got = _read(m_ends[0], piece.data(), most);
        if (got <= 0)
            break;
        text.append(piece.data(), static_cast<std::size_t>(got));
    }
    return text;
}

void Pipe::write(std::string_view text) const {
    EXPECT_EQ(_write(m_ends[1], text.data(), static_cast<unsigned>(text.size())),
              static_cast<int>(text.size()));
}

}  // namespace testing_support
