#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// What the file of a shelf's work tells of one run.
struct KeptRun {
    std::vector<std::string> records{};   ///< names of files, one for each time it was started
    std::optional<RunOutcome> outcome{};  ///< of the last time; nothing where that broke off
};

struct KeptDrive {
    DriveWork work;  ///< without confirmations
    std::vector<KeptRun> runs{};
};

/// The work of a shelf as its file has it: what was to be done, and what became of it.
struct KeptWork {
    std::string file{};
    std::string commandLine{};
    unsigned jobs = 0;
    std::optional<std::uint32_t> hangSeconds{};  ///< see ShelfWork
    std::vector<KeptDrive> drives{};
    std::size_t bytes = 0;  ///< of its whole lines; what a power cut left behind them counts for nothing
};

/// Reads the text of such a file. Options of the runs that it does not tell are as `usual` has them. Nothing
/// after a sentence in `problem`: it is none, is damaged elsewhere than at its end, or has in it what no
/// shelf puts there. Without drives when the shelf was cut off before it could begin anything.
std::optional<KeptWork> readKeptWork(const std::string& file, std::string_view text, const RunOptions& usual,
                                     std::string& problem);

}  // namespace drivetest
