#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/shelf/ShelfFolder.h"

namespace drivetest {

/// How one run of a shelf came to its end.
enum class RunEnd : std::uint8_t {
    byItself,
    crashed,     ///< by a fault of its own
    killed,      ///< by somebody else
    hung,        ///< without progress, so that the shelf ended it
    lost,        ///< the same, and the system does not end it
    notStarted,  ///< no process or no file could be had for it
    refused,     ///< nothing was to be run on this drive
    leftOut,     ///< because of a stop, or of what happened before
};

/// What is known of one run of a shelf when it is over.
struct RunOutcome {
    RunEnd end = RunEnd::leftOut;
    std::size_t run = 0;  ///< its place among the runs of its drive
    int status = 0;       ///< what the exit status of that run alone is, or would be
    std::string test{};   ///< its name, or its short one
    std::string words{};  ///< for people, where there is more to say: why it was refused, what ended it
    RunFiles files{};     ///< empty where nothing was started
    bool hasRecord = false;
    bool hasReport = false;
    std::string result{};  ///< as the record has it: "PASS"; empty where it has none
    char grade = '\0';     ///< 'A' to 'F'; 0 for none
    std::uint64_t badSectors = 0;
    std::optional<double> readRate{};  ///< MB/s
    std::optional<double> writeRate{};
    std::string openJournal{};  ///< holds what is to be put back; empty for none

    /// Whether something of the drive was tested.
    [[nodiscard]] bool hasFigures() const;
};

/// The exit status of several runs: the worst, in the order in which results are merged; what was not put
/// back is worse than all.
int worstStatus(const std::vector<int>& statuses);

/// "PASS", "not started", "PASS, grade A".
std::string resultText(const RunOutcome& outcome);

}  // namespace drivetest
