#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivetest/run/OutputFile.h"
#include "drivetest/shelf/Shelf.h"
#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// What became of all drives of a shelf, as one file of JUnit's XML.
class ShelfJUnit {
public:
    /// Opens the file, if there is to be one, which must hold data of none of the drives; nothing is changed
    /// yet. Nothing after a sentence in `problem`.
    static std::optional<ShelfJUnit> open(const ShelfWork& work, const ShelfLook& look, std::string& problem);

    /// False after a sentence in `problem`.
    [[nodiscard]] bool write(const std::vector<ShelfDrive>& drives, std::string& problem);

private:
    std::string m_path;
    OutputFile m_file;
};

}  // namespace drivetest
