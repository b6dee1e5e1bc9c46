#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace drivetest {

struct ResumedRun;

/// What the user asked of a run on several drives, beside what each of them is to do.
struct ShelfOptions {
    std::vector<std::string> moreDevices{};    ///< locators beside the first
    std::vector<std::string> moreConfirmed{};  ///< what names drives that may be written to, beside the first
    std::optional<unsigned> jobs{};            ///< drives under test at once
    std::optional<std::uint32_t> hangSeconds{};  ///< without progress after which a run is ended
    std::string folder{};                        ///< for all that is written; empty for the default one

    bool operator==(const ShelfOptions&) const = default;
};

/// What the user asked of "drivetest run" or "drivetest check".
struct RunOptions {
    std::string test;
    std::string device;
    std::vector<std::string> parameters;  ///< NAME=VALUE
    bool survey = false;                  ///< the test is the one that answers whether a drive is good
    bool gentle = false;                  ///< in the way of the test that does not stress the drive
    std::string importedMap;           ///< file of what is rescued already, which is not read; empty for none
    std::uint32_t maxTime = 0;         ///< seconds; 0 for no limit
    std::uint32_t maxTemperature = 0;  ///< degrees Celsius; 0 for the usual limit of gentle reading
    std::vector<std::string> properties;  ///< NAME=VALUE
    std::map<std::string, std::string>
        outputs;                  ///< files by the option of their format; "-": standard output
    bool keepRecord = true;       ///< in the folder for records, when no file is named for it
    bool replaceOutputs = false;  ///< files that hold something already
    int logPriority = 3;
    std::string moduleFile;
    std::string confirm;           ///< what names the drive that may be written to; empty for none
    bool allowUnexamined = false;  ///< write although encryption could not be looked for everywhere
    bool journal = true;
    bool verifyRestores = true;
    std::string journalFolder;  ///< empty for the default one
    bool prompts = true;
    bool quiet = false;   ///< no progress is shown
    unsigned slowMs = 0;  ///< transfers that take longer are too slow; 0 for no such limit
    std::uint64_t slowAllowed = 0;
    std::string recordFolder;               ///< for what is kept without a name; empty for the default one
    std::string grading = "none";           ///< the limits to grade the drive by, a file or "default"
    bool colours = true;                    ///< where a terminal has them
    std::string resume;                     ///< the record of the run to go on from; empty for a new run
    std::uint32_t saveProgress = 60;        ///< seconds between two lines of progress in the record
    std::shared_ptr<ResumedRun> resumed{};  ///< what that record proves, once it was read
    std::string commandLine;                ///< as typed, for the record
    std::string planFile{};                 ///< that says all of it, for several drives; empty for none
    long long progressTo = -1;              ///< pipe of the shelf that has started this run; -1 for none
    std::string identity{};  ///< of the drive that the shelf found there, as text; empty for any
    ShelfOptions shelf{};

    bool operator==(const RunOptions&) const = default;

    /// Empty for none.
    [[nodiscard]] std::string outputOf(std::string_view option) const {
        const auto named = outputs.find(std::string(option));
        return named != outputs.end() ? named->second : std::string();
    }
};

}  // namespace drivetest
