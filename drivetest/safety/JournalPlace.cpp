#include "drivetest/safety/JournalPlace.h"

namespace drivetest {

std::string recoverCommand(const std::string& locator, const std::string& folder) {
    const std::string option = folder == defaultJournalFolder() ? "" : " --journal " + folder;
    return "\"drivetest recover " + locator + option + "\"";
}

}  // namespace drivetest
