#pragma once

#include <cstddef>

namespace drivetest {

/// Decides which drives of a shelf are under test at the same time. Drives are known by their place in
/// ShelfWork::drives. All calls come from one thread.
class Admission {
public:
    virtual ~Admission() = default;

    /// Whether this drive may be started beside those that are under test. It is asked again until it may.
    [[nodiscard]] virtual bool mayStart(std::size_t drive) = 0;
    /// It is under test from now on.
    virtual void started(std::size_t drive) = 0;
    /// What moves at the moment, several times a second; 1 MB is 1,048,576 bytes.
    virtual void measured(std::size_t /*drive*/, double /*megabytesPerSecond*/) {}
    virtual void ended(std::size_t drive) = 0;
};

/// So many at once, whatever they share.
class JobLimit : public Admission {
public:
    explicit JobLimit(unsigned most) : m_most(most) {}

    [[nodiscard]] bool mayStart(std::size_t /*drive*/) override { return m_running < m_most; }
    void started(std::size_t /*drive*/) override { ++m_running; }
    void ended(std::size_t /*drive*/) override { --m_running; }

private:
    unsigned m_most;
    unsigned m_running = 0;
};

}  // namespace drivetest
