#include "drivetest/safety/ReadStart.h"

namespace drivetest {

ExitStatus takeForReading(const quix5::DiagDevice& device, std::unique_ptr<libDrive2::DeviceLease>& lease,
                          Console& console) {
    libDrive2::DeviceStatus failure;
    lease = libDrive2::DeviceLease::take(device.osLocator(), libDrive2::LeasePurpose::read, failure);
    if (failure.type == libDrive2::LIBDRIVE2_BUSY) {
        complain(failure.text.utf8() + ": wait until it has ended, then try again");
        return kExitBusy;
    }
    if (lease != nullptr)
        for (const zel::String& user : lease->users())
            console.line("note:    " + user.utf8() + "; reading does no harm, but rates may be lower");
    return kExitPass;
}

}  // namespace drivetest
