#pragma once

#include <string>

#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// The file of a record that is kept without having been asked for, and its path.
struct KeptRecord {
    OutputFile file{};
    std::string path{};
};

/// "20261122T061500Z-S4EVNX0N-LinearReadTest": sorted by time, and for a person to recognise.
std::string recordName(const std::string& drive, const std::string& test);

/// The name of a record in two parts: "run-2" is "run", 2, and "run" is "run", 1.
struct NumberedName {
    std::string text;
    int number;
};
NumberedName numberedName(const std::string& name);

/// Makes the file NAME.jsonl in the folder, which is made where there is none yet, and which
/// nobody else may write to. Without a file on failure, after a sentence in `problem`.
KeptRecord createKeptRecord(const std::string& folder, const std::string& name, std::string& problem);

}  // namespace drivetest
