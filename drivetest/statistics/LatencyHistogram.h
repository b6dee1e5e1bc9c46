#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <vector>

namespace drivetest {

/// Durations in buckets that widen with their value: none is off by more than an eighth.
class LatencyHistogram {
public:
    struct Bucket {
        std::chrono::nanoseconds upTo;  ///< exclusive
        std::uint64_t count;
    };

    void add(std::chrono::nanoseconds duration);

    [[nodiscard]] std::uint64_t count() const { return m_count; }
    [[nodiscard]] std::chrono::nanoseconds longest() const { return m_longest; }
    /// The upper bound of the bucket below which this share (0 to 1) of the durations lies, at most the
    /// longest duration; zero for an empty histogram.
    [[nodiscard]] std::chrono::nanoseconds percentile(double share) const;
    /// Those that are not empty, shortest first.
    [[nodiscard]] std::vector<Bucket> buckets() const;

private:
    static constexpr unsigned kSubBits = 3;
    static constexpr std::size_t kBuckets = (64 - kSubBits + 1) << kSubBits;

    static std::size_t indexOf(std::uint64_t nanoseconds);
    static std::chrono::nanoseconds upperBound(std::size_t index);

    std::array<std::uint64_t, kBuckets> m_counts{};
    std::uint64_t m_count = 0;
    std::chrono::nanoseconds m_longest{0};
};

}  // namespace drivetest
