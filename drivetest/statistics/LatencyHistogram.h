#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "drivetest/statistics/LogScale.h"

namespace drivetest {

/// Durations in buckets that widen with their value: none is off by more than an eighth.
class LatencyHistogram {
public:
    struct Bucket {
        std::chrono::nanoseconds upTo;  ///< exclusive
        std::uint64_t count;
    };

    void add(std::chrono::nanoseconds duration) {
        const auto value =
            static_cast<std::uint64_t>(std::max<std::chrono::nanoseconds::rep>(0, duration.count()));
        ++m_counts[Scale::stepOf(value)];
        ++m_count;
        m_longest = std::max(m_longest, duration);
    }

    [[nodiscard]] std::uint64_t count() const { return m_count; }
    [[nodiscard]] std::chrono::nanoseconds longest() const { return m_longest; }
    /// The upper bound of the bucket below which this share (0 to 1) of the durations lies, at most the
    /// longest duration; zero for an empty histogram.
    [[nodiscard]] std::chrono::nanoseconds percentile(double share) const;
    /// Those that are not empty, shortest first.
    [[nodiscard]] std::vector<Bucket> buckets() const;

    /// A bucket's number, shortest first, and how many durations are in it.
    using Step = std::pair<std::size_t, std::uint64_t>;
    [[nodiscard]] std::vector<Step> steps() const;
    /// As it was. False when there is no such bucket.
    [[nodiscard]] bool restore(const std::vector<Step>& steps, std::chrono::nanoseconds longest);

private:
    using Scale = LogScale<3>;

    std::array<std::uint64_t, Scale::kSteps> m_counts{};
    std::uint64_t m_count = 0;
    std::chrono::nanoseconds m_longest{0};
};

}  // namespace drivetest
