#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zel/Words.h"

namespace drivetest {

/// What became of a link that several drives of a shelf share. 1 MB is 1,048,576 bytes.
struct LinkSharing {
    zel::Wording name{};
    std::uint64_t megabytesPerSecond = 0;  ///< that it carries, as told or as learned; 0 where nobody knows
    std::uint64_t drives = 0;              ///< on it
    std::uint64_t atOnce = 0;              ///< most of them that were under test at the same time
    std::uint64_t moved = 0;               ///< most that these moved in a second, measured
    bool isFull = false;                   ///< drives had to wait for it

    bool operator==(const LinkSharing&) const = default;
};

/// "4 drives share SAS adapter …, which carries 3800 MB/s: at most 3 of them at once, …; 3600 MB/s were
/// measured"
std::string describeSharing(const LinkSharing& link);

/// Several as a line for the process that tests one of the drives, without its end, and back. Nothing when
/// the line is none. Names come back in English.
std::string sharingLine(const std::vector<LinkSharing>& links);
std::optional<std::vector<LinkSharing>> readSharingLine(std::string_view line);

}  // namespace drivetest
