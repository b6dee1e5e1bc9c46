#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace testing_support {

/// A pipe whose reader takes nothing until it is asked to.
class Pipe {
public:
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int writer() const { return m_ends[1]; }
    [[nodiscard]] int reader() const { return m_ends[0]; }
    void closeReader();
    void closeWriter();
    /// Blocks until so many bytes have come, or nobody writes any more.
    [[nodiscard]] std::string read(std::size_t bytes) const;
    void write(std::string_view text) const;

private:
    std::array<int, 2> m_ends{-1, -1};
};

}  // namespace testing_support
