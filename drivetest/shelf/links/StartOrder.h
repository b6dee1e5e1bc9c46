#pragma once

#include <cstddef>
#include <vector>

namespace drivetest {

/// A drive that is to be started, or runs.
struct OrderedDrive {
    double seconds = 0;                ///< that it takes, or still takes
    double megabytesPerSecond = 0;     ///< while it runs
    std::vector<std::size_t> links{};  ///< that it loads
    bool isRunning = false;
};

/// Which drives should start first, so that all end soonest.
///
/// A drive starts as soon as its links have room for it, in the order of a list: that is played through
/// without waiting. The list begins with what takes longest; then pairs of it change places as long as that
/// ends sooner.
class StartOrder {
public:
    /// `capacities`: MB/s of each link; 0 for one without a limit. `most`: drives at once; 0 for any number.
    StartOrder(std::vector<OrderedDrive> drives, std::vector<double> capacities, std::size_t most);

    /// Those that wait, the first to start first.
    [[nodiscard]] std::vector<std::size_t> best() const;
    /// When all have ended, in seconds, in this order.
    [[nodiscard]] double secondsOf(const std::vector<std::size_t>& order) const;

    /// Whether a link carries one more: so little beyond its limit that nobody takes it for a slow drive.
    static bool hasRoom(double capacity, double load, double more);

private:
    class Course;

    std::vector<OrderedDrive> m_drives;
    std::vector<double> m_capacities;
    std::size_t m_most;
};

}  // namespace drivetest
