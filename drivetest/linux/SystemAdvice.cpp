#include "drivetest/safety/SystemAdvice.h"

namespace drivetest {

std::string adviceOnUsedDrive() {
    return "unmount it, switch swap off, stop what uses it, then try again";
}

std::string adviceOnLockedDrive() {
    return "unlock it first (hdparm --security-unlock), then try again";
}

std::string exampleDrive() {
    return "/dev/sdb";
}

}  // namespace drivetest
