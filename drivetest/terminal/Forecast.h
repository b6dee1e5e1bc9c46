#pragma once

#include <string>
#include <vector>

#include "drivetest/terminal/ProgressMeter.h"

namespace drivetest {

/// What a run will take, told once, as soon as a second of it has been measured.
class Forecast {
public:
    /// `shorter`: how to choose less, in the words of the test; may be empty.
    explicit Forecast(std::string shorter) : m_shorter(std::move(shorter)) {}

    /// The lines that are due now; none for a run that ends soon.
    std::vector<std::string> due(const ProgressMeter& meter, const Advance& now,
                                 std::chrono::nanoseconds elapsed);

private:
    std::string m_shorter;
    bool m_isTold = false;
};

}  // namespace drivetest
