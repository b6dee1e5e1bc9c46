#pragma once

#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace drivetest {

/// Looks, while a test runs, for somebody who has begun to use its drive: the system does not keep everybody
/// from it. Not for several threads at once.
class UseWatch {
public:
    using Lister = std::function<std::vector<std::string>()>;
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// `lister` tells who uses the drive, such as "sdb1 is mounted on /mnt"; it is asked now, and what it
    /// says then is never a disturbance. The time is real even where a drive is simulated.
    explicit UseWatch(Lister lister, Clock clock = std::chrono::steady_clock::now);

    /// Looks again when the last look is a second ago. Stays true once it was.
    bool isDisturbed();
    /// Who came; empty while nobody did.
    [[nodiscard]] const std::string& reason() const { return m_reason; }

private:
    Lister m_lister;
    Clock m_clock;
    std::set<std::string> m_known;
    std::chrono::steady_clock::time_point m_lastLook;
    std::string m_reason;
};

}  // namespace drivetest
