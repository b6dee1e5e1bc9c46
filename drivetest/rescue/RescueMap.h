#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "libDrive2/DriveTypes.h"

namespace drivetest {

/// What is known of a drive that is being rescued, in the form of GNU ddrescue's mapfile: blocks of bytes
/// from the start of the drive to its end, each with a status.
struct RescueMap {
    /// By the character that stands for it in the file.
    enum class Status : char {
        notTried = '?',
        notTrimmed = '*',
        notScraped = '/',
        bad = '-',
        finished = '+'
    };
    struct Block {
        std::uint64_t position;  ///< bytes
        std::uint64_t size;
        Status status;
    };

    std::vector<Block> blocks;  ///< each begins where the one before ends

    /// The text of the file. `title` becomes a comment.
    [[nodiscard]] std::string text(std::string_view title) const;
    /// All sectors with something that is not finished; rising, and apart from each other.
    [[nodiscard]] std::vector<libDrive2::SectorSpan> unfinished(std::uint32_t sectorBytes) const;
};

/// What a file of such a form says. False with a sentence in `error`, which names line and column.
bool readRescueMap(std::string_view text, RescueMap& map, std::string& error);

/// The same of a file, which the sentence names.
bool loadRescueMap(const std::string& path, RescueMap& map, std::string& error);

/// The map of a drive of which these sectors are good and these bad; both rise. Others were not tried.
RescueMap makeRescueMap(const std::vector<libDrive2::SectorSpan>& good,
                        const std::vector<libDrive2::SectorSpan>& bad, std::uint64_t sectors,
                        std::uint32_t sectorBytes);

}  // namespace drivetest
