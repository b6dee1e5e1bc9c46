#pragma once

#include <cstdint>
#include <map>

namespace drivetest {

/// Different sectors, as spans that neither touch nor overlap. Memory is bounded: beyond the most spans it
/// keeps, sectors behind all others still count, and such as lie before the last count as known already.
class SectorSet {
public:
    explicit SectorSet(std::size_t mostSpans) : m_mostSpans(mostSpans), m_latest(m_spans.end()) {}
    SectorSet(const SectorSet&) = delete;
    SectorSet& operator=(const SectorSet&) = delete;

    void add(std::uint64_t lba, std::uint64_t count) {
        // A span that ends with the highest sector has none behind it.
        if (lba == m_end && m_latest != m_spans.end() && m_latest->second == m_end) {
            m_end = m_latest->second += count;
            m_size += count;
        } else {
            addElsewhere(lba, count);
        }
    }
    [[nodiscard]] std::uint64_t size() const { return m_size; }
    /// How many of these are in the set, as far as spans are kept.
    [[nodiscard]] std::uint64_t countWithin(std::uint64_t lba, std::uint64_t count) const;

private:
    using Spans = std::map<std::uint64_t, std::uint64_t>;  ///< first sector to the one behind the last

    void addElsewhere(std::uint64_t lba, std::uint64_t count);
    void insert(std::uint64_t first, std::uint64_t end);
    [[nodiscard]] Spans::const_iterator firstBehind(std::uint64_t lba) const;

    std::size_t m_mostSpans;
    Spans m_spans;
    Spans::iterator m_latest;  ///< the span that was made last
    std::uint64_t m_size = 0;
    std::uint64_t m_end = 0;  ///< behind the highest sector
};

}  // namespace drivetest
