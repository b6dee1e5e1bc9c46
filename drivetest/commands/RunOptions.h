#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace drivetest {

/// What the user asked of "drivetest run".
struct RunOptions {
    std::string test;
    std::string device;
    std::vector<std::string> parameters;  ///< NAME=VALUE
    std::vector<std::string> properties;  ///< NAME=VALUE
    std::string eventsFile;               ///< "-" for standard output; empty for none
    bool keepRecord = true;               ///< in the folder for records, when no file is named for it
    std::string badListFile;
    std::string logFile;
    bool replaceOutputs = false;  ///< files that hold something already
    int logPriority = 3;
    std::string language;
    std::string moduleFile;
    std::string confirm;           ///< what names the drive that may be written to; empty for none
    bool allowUnexamined = false;  ///< write although encryption could not be looked for everywhere
    bool journal = true;
    bool verifyRestores = true;
    std::string journalFolder;  ///< empty for the default one
    bool prompts = true;
    unsigned slowMs = 0;  ///< transfers that take longer are too slow; 0 for no such limit
    std::uint64_t slowAllowed = 0;
    std::string commandLine;  ///< as typed, for the record
};

}  // namespace drivetest
