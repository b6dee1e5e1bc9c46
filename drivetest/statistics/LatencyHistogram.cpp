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

std::vector<LatencyHistogram::Step> LatencyHistogram::steps() const {
    std::vector<Step> filled;
    for (std::size_t i = 0; i < m_counts.size(); ++i)
        if (m_counts[i] != 0)
            filled.emplace_back(i, m_counts[i]);
    return filled;
}

bool LatencyHistogram::restore(const std::vector<Step>& steps, nanoseconds longest) {
    *this = {};
    m_longest = longest;
    for (const auto& [step, count] : steps) {
        if (step >= m_counts.size())
            return false;
        m_counts[step] = count;
        m_count += count;
    }
    return true;
}

}  // namespace drivetest
