#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/RunOptions.h"
#include "drivetest/shelf/RunOutcome.h"
#include "libDrive2/DriveIdentity.h"

namespace drivetest {

class WorkFile;

/// What a failed run of a drive means for what is still to be run. A run fails with every status but those of
/// PASS and WARN.
enum class OnFailure : std::uint8_t { goOn, stopDrive, stopAll };

/// Longer than any command and its retries take, also where the system resets the drive in between.
inline constexpr std::uint32_t kLongestSilence = 1800;
/// Blanking or formatting all of an optical medium is one command, which may take hours.
inline constexpr std::uint32_t kLongestSilenceOfRecorders = 18000;

/// What is to be done with one drive, one run after the other.
struct DriveWork {
    std::string device;  ///< locator
    std::string name;    ///< what people know it by: model and serial number, or the locator
    std::vector<RunOptions> runs{};
    OnFailure onFailure = OnFailure::goOn;
    std::string refusal{};  ///< why nothing is run on it, as a sentence; empty when something is
    ExitStatus refusedAs = kExitCannotRun;               ///< what that counts as
    double bytes = 0;                                    ///< that the runs transfer, as far as it can be told
    std::optional<libDrive2::DriveIdentity> identity{};  ///< where it is known
    std::uint32_t longestSilence = kLongestSilence;      ///< seconds without progress that are no hang
    /// Of each run what became of it where that is known before the shelf begins; empty for no run.
    std::vector<std::optional<RunOutcome>> done{};

    /// Whether every run is.
    [[nodiscard]] bool isDone() const {
        return done.size() == runs.size() && !runs.empty() &&
               std::ranges::all_of(done, [](const auto& each) { return each.has_value(); });
    }
};

/// More processes would only wait for each other.
inline constexpr unsigned kMostJobs = 256;

/// Drives that are tested side by side, each by a process of its own.
struct ShelfWork {
    std::vector<DriveWork> drives{};
    unsigned jobs = 0;          ///< drives under test at once; 0 for as many as do not disturb each other
    std::string folder{};       ///< for records, logs and reports; empty for a new one
    std::string newFolderIn{};  ///< where that is made; empty where the records of runs are kept
    /// Without progress after which a run is ended, 0 for never; nothing for what is usual with its drive.
    std::optional<std::uint32_t> hangSeconds{};
    std::string commandLine{};         ///< as typed, for whoever goes on with it
    bool isKept = true;                ///< in a file in its folder, so that it can be gone on with
    std::shared_ptr<WorkFile> file{};  ///< that keeps it already; null for a new one
};

}  // namespace drivetest
