#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace drivetest {

/// What came of a question.
struct ApartAnswer {
    enum class End : unsigned char {
        answered,
        crashed,  ///< whoever asked did not come to an end of his own
        silent,   ///< nothing came within the time
        stopped,  ///< the user does not want to know it any more
    };
    End end = End::silent;
    std::string text{};
};

/// A disk that was asleep, or that the system tries to bring back, may need this long for a word.
inline constexpr std::chrono::seconds kPatienceWithDrive{30};

/// Asks all of these at the same time, apart from what this process does: a question that never comes to an
/// end, as of a drive that keeps whoever opens it, keeps nobody else. A question must change nothing that
/// anybody relies on later. No other thread may run.
std::vector<ApartAnswer> askApart(const std::vector<std::function<std::string()>>& questions,
                                  std::chrono::milliseconds longest = kPatienceWithDrive);

}  // namespace drivetest
