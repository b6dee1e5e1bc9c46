#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "libDrive2/DriveTypes.h"

namespace drivetest {

/// Different sectors, as spans that neither touch nor overlap. Memory is bounded: beyond the most spans it
/// keeps, sectors behind all others still count, and such as lie before the last count as known already.
///
/// How it works: what continues the run before lengthens it, which is all that a test in order needs. Other
/// runs wait until there are many; then they are sorted, and merged with the spans in one pass. A position
/// anywhere costs the same few nanoseconds as the next one.
class SectorSet {
public:
    explicit SectorSet(std::size_t mostSpans) : m_mostSpans(mostSpans) {}

    void add(std::uint64_t lba, std::uint64_t count) {
        if (lba == m_run.end)
            m_run.end += count;
        else if (count != 0)
            begin({lba, lba + count});
    }
    [[nodiscard]] std::uint64_t size();
    /// How many of these are in the set, as far as spans are kept.
    [[nodiscard]] std::uint64_t countWithin(std::uint64_t lba, std::uint64_t count);
    /// All of them, rising; of a full set those for which spans are kept.
    [[nodiscard]] std::vector<libDrive2::SectorSpan> ranges();

private:
    struct Span {
        std::uint64_t first;
        std::uint64_t end;  ///< behind the last sector

        [[nodiscard]] std::uint64_t size() const { return end - first; }
        [[nodiscard]] std::uint64_t sharedWith(const Span& other) const;
    };

    void begin(const Span& run);
    void settle();
    void sortWaiting();
    void merge();
    void join();

    std::size_t m_mostSpans;
    std::vector<Span> m_spans;    ///< in order
    std::vector<Span> m_waiting;  ///< runs that are not yet in m_spans
    std::vector<Span> m_sorted;   ///< keeps its memory between settlements
    Span m_run{0, 0};             ///< the one that may still grow
    std::uint64_t m_size = 0;     ///< of m_spans, and of what no span holds
    bool m_isFull = false;        ///< m_run lies behind all that was added
};

}  // namespace drivetest
