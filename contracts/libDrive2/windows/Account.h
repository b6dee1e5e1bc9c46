#pragma once

#include <string>

#include "zel/Export.h"

namespace libDrive2 {

/// The user for whom this process acts. Users and groups are security identifiers as text: "S-1-5-18".
struct DRIVETEST_API Account {
    std::string user{};            ///< empty when the system does not tell
    std::string owner{};           ///< of what this process makes: of an elevated one the administrators
    bool isAdministrator = false;  ///< with the rights in force: elevated

    /// Asked for anew at each call.
    static Account current();
    /// Whether what belongs to that one is as safe from others as what belongs to this user: himself, the
    /// system and its administrators, who can take everything anyway.
    [[nodiscard]] bool trusts(const std::string& identifier) const;
};

/// "COMPUTER\alice" for messages; the identifier itself where nobody has that name.
DRIVETEST_API std::string accountName(const std::string& identifier);

}  // namespace libDrive2
