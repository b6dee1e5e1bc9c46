#pragma once

#include <string>
#include <vector>

#include "drivetest/terminal/ProgressMeter.h"

namespace drivetest {

/// What a run will take, told once, as soon as a second of it has been measured.
class Forecast {
public:
    /// `shorter`: how to choose less, in the words of the test; may be empty. `limit`: when the test ends in
    /// any case; zero for never.
    explicit Forecast(std::string shorter, std::chrono::nanoseconds limit = {})
        : m_shorter(std::move(shorter)), m_limit(limit) {}

    /// The lines that are due now; none for a run that ends soon.
    std::vector<std::string> due(const ProgressMeter& meter, const Advance& now,
                                 std::chrono::nanoseconds elapsed);

private:
    [[nodiscard]] std::string timeText(const Advance& now, std::chrono::nanoseconds elapsed,
                                       std::chrono::nanoseconds all) const;

    std::string m_shorter;
    std::chrono::nanoseconds m_limit;
    bool m_isTold = false;
};

}  // namespace drivetest
