#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace drivetest {

/// How far a run is, from one moment.
struct Advance {
    int percent = 0;                ///< as the test tells it: 0 to 100
    std::uint64_t bytes = 0;        ///< moved so far
    std::uint64_t written = 0;      ///< of these
    std::uint64_t visited = 0;      ///< sectors or positions so far, each once in each pass
    std::uint64_t requested = 0;    ///< of as many; 0 when not known
    std::uint32_t bytesOfEach = 0;  ///< of a sector; 0 for positions
};

/// Rates and the time left. What is 1 MB is kBytesPerMegabyte.
class ProgressMeter {
public:
    using Time = std::chrono::nanoseconds;

    /// `elapsed` since the start, without the time at prompts; it does not go back.
    void add(Time elapsed, const Advance& now);

    /// MB/s of the last seconds, and since the start; nothing before anything was moved.
    [[nodiscard]] std::optional<double> rateNow() const;
    [[nodiscard]] std::optional<double> rateMean() const;
    /// Nothing before anything is done, and at the end.
    [[nodiscard]] std::optional<Time> left() const;
    /// 0 to 1. Finer than the test's percentage where the sectors visited agree with that.
    [[nodiscard]] double share() const;

private:
    struct Sample {
        Time elapsed;
        std::uint64_t bytes;
    };

    std::deque<Sample> m_recent;
    Time m_elapsed{0};
    Advance m_now;
};

}  // namespace drivetest
