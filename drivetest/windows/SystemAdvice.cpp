#include "drivetest/safety/SystemAdvice.h"

#include "zel/Words.h"

namespace drivetest {

/// Volumes that nobody uses are dismounted without being asked for.
std::string adviceOnUsedDrive() {
    return zel::words(
        "close the programs that use it, then try again; what Windows itself uses can be tested in "
        "another computer");
}

/// Windows itself has nothing for that.
std::string adviceOnLockedDrive() {
    return zel::words(
        "unlock it first, in the set-up of the computer's firmware or with its maker's program, then try "
        "again");
}

std::string exampleDrive() {
    return "\\\\.\\PhysicalDrive1";
}

}  // namespace drivetest
