#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include "libDrive2/DriveObserver.h"

namespace drivetest {

/// The slowest timed transfers of a run, and how many took longer than what people look for.
class SlowTransfers {
public:
    static constexpr std::chrono::milliseconds kSlow{150};
    static constexpr std::chrono::milliseconds kVerySlow{500};
    /// Of slow ones the slowest are kept. A few are also where none is slow.
    static constexpr std::size_t kMost = 1000;
    static constexpr std::size_t kFew = 5;

    struct Transfer {
        libDrive2::DriveOperation operation;
        std::uint64_t lba;
        std::uint32_t count;
        std::chrono::nanoseconds duration;
    };

    /// Counts transfers longer than this, too.
    void setLimit(std::chrono::milliseconds limit) {
        m_limit = limit;
        m_ordinary = std::min(m_ordinary, m_limit);
    }
    void add(const libDrive2::DriveOperationReport& report) {
        if (report.duration > m_ordinary)
            note(report);
    }

    /// Slowest first, those of equal duration by their sectors.
    [[nodiscard]] std::vector<Transfer> slowest(std::size_t most = kMost) const;
    [[nodiscard]] std::uint64_t slow() const { return m_slow; }
    [[nodiscard]] std::uint64_t verySlow() const { return m_verySlow; }
    [[nodiscard]] std::uint64_t beyondLimit() const { return m_beyondLimit; }

    /// All that is known, to go on from there with the same limit; the order of what is kept is part of it.
    struct State {
        std::vector<Transfer> kept{};
        std::uint64_t slow = 0;
        std::uint64_t verySlow = 0;
        std::uint64_t beyondLimit = 0;
    };
    [[nodiscard]] State state() const { return {m_kept, m_slow, m_verySlow, m_beyondLimit}; }
    void restore(const State& state);

private:
    void raiseOrdinary();
    void note(const libDrive2::DriveOperationReport& report);
    void keep(const Transfer& transfer);

    std::vector<Transfer> m_kept;            ///< a heap: the fastest of them in front
    std::chrono::nanoseconds m_ordinary{0};  ///< what takes no longer is neither counted nor kept
    std::chrono::nanoseconds m_limit = std::chrono::nanoseconds::max();
    std::uint64_t m_slow = 0;
    std::uint64_t m_verySlow = 0;
    std::uint64_t m_beyondLimit = 0;
};

}  // namespace drivetest
