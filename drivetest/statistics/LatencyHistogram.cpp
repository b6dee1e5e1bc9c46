#include "drivetest/statistics/LatencyHistogram.h"

#include <cmath>

namespace drivetest {

using std::chrono::nanoseconds;

nanoseconds LatencyHistogram::percentile(double share) const {
    const auto wanted = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(m_count)));
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < m_counts.size(); ++i) {
        seen += m_counts[i];
        if (seen >= wanted && seen > 0)
            return std::min(nanoseconds(Scale::upperBound(i)), m_longest);
    }
    return nanoseconds(0);
}

std::vector<LatencyHistogram::Bucket> LatencyHistogram::buckets() const {
    std::vector<Bucket> filled;
    for (std::size_t i = 0; i < m_counts.size(); ++i)
        if (m_counts[i] != 0)
            filled.push_back({nanoseconds(Scale::upperBound(i)), m_counts[i]});
    return filled;
}

}  // namespace drivetest
