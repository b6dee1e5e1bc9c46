#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivetest/run/OutputFile.h"
#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// What became of all drives of a shelf, as one file of JUnit's XML.
class ShelfJUnit {
public:
    /// Opens the file that the work names, if it names one; nothing is changed yet. Nothing after a sentence
    /// in `problem`.
    static std::optional<ShelfJUnit> open(const ShelfWork& work, std::string& problem);

    /// False after a sentence in `problem`.
    [[nodiscard]] bool write(const std::vector<ShelfDrive>& drives, std::string& problem);

private:
    std::string m_path;
    OutputFile m_file;
};

}  // namespace drivetest
