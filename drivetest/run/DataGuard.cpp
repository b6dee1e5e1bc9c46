#include "drivetest/run/DataGuard.h"

#include "drivetest/run/IdentityGuard.h"

namespace drivetest {

DataGuard guardDrive(const std::string& locator, const std::string& journalFolder) {
    return [locator, journalFolder](const std::string& path) {
        return guardIdentified(locator, lookAt(locator), journalFolder)(path);
    };
}

}  // namespace drivetest
