#include "drivetest/statistics/LatencyHistogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace drivetest {

using std::chrono::nanoseconds;

std::size_t LatencyHistogram::indexOf(std::uint64_t nanosecondCount) {
    if (nanosecondCount < (1U << kSubBits))
        return nanosecondCount;
    const auto shift = static_cast<unsigned>(std::bit_width(nanosecondCount)) - kSubBits - 1;
    return (std::size_t{shift} << kSubBits) + (nanosecondCount >> shift);
}

nanoseconds LatencyHistogram::upperBound(std::size_t index) {
    if (index < (1U << kSubBits))
        return nanoseconds(index + 1);
    const std::size_t shift = (index >> kSubBits) - 1;
    const std::uint64_t step = (index & ((1U << kSubBits) - 1)) + (1U << kSubBits) + 1;
    return nanoseconds(step << shift);
}

void LatencyHistogram::add(nanoseconds duration) {
    const auto value = static_cast<std::uint64_t>(std::max<nanoseconds::rep>(0, duration.count()));
    ++m_counts[indexOf(value)];
    ++m_count;
    m_longest = std::max(m_longest, duration);
}

nanoseconds LatencyHistogram::percentile(double share) const {
    const auto wanted = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(m_count)));
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < kBuckets; ++i) {
        seen += m_counts[i];
        if (seen >= wanted && seen > 0)
            return std::min(upperBound(i), m_longest);
    }
    return nanoseconds(0);
}

std::vector<LatencyHistogram::Bucket> LatencyHistogram::buckets() const {
    std::vector<Bucket> filled;
    for (std::size_t i = 0; i < kBuckets; ++i)
        if (m_counts[i] != 0)
            filled.push_back({upperBound(i), m_counts[i]});
    return filled;
}

}  // namespace drivetest
