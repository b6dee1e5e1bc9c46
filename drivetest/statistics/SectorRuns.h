#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace drivetest {

/// Sectors in the order in which they came, those of a chunk after the other as one, also where all chunks
/// are equally far from each other.
class SectorRuns {
public:
    struct Run {
        std::uint64_t first;
        std::uint64_t count;
        std::uint64_t step = 0;   ///< from the first sector of one piece to that of the next
        std::uint64_t times = 1;  ///< pieces of `count` sectors

        bool operator==(const Run&) const = default;
    };

    void add(std::uint64_t lba, std::uint64_t count) {
        if (!m_runs.empty() && lengthens(m_runs.back(), lba, count))
            return;
        m_runs.push_back({lba, count});
    }
    [[nodiscard]] const std::vector<Run>& runs() const { return m_runs; }
    [[nodiscard]] std::vector<Run> take() { return std::exchange(m_runs, {}); }

private:
    static bool lengthens(Run& last, std::uint64_t lba, std::uint64_t count) {
        if (last.times == 1 && lba == last.first + last.count) {
            last.count += count;
            return true;
        }
        if (count != last.count || lba < last.first + last.count)
            return false;
        if (last.times == 1)
            last.step = lba - last.first;
        else if (lba != last.first + last.times * last.step)
            return false;
        ++last.times;
        return true;
    }

    std::vector<Run> m_runs;
};

}  // namespace drivetest
