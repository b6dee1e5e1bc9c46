#include "drivetest/safety/SystemAdvice.h"

#include "zel/Words.h"

namespace drivetest {

std::string adviceOnUsedDrive() {
    return zel::words("unmount it, switch swap off, stop what uses it, then try again");
}

std::string adviceOnLockedDrive() {
    return zel::words("unlock it first (hdparm --security-unlock), then try again");
}

std::string exampleDrive() {
    return "/dev/sdb";
}

}  // namespace drivetest
