#include "drivetest/safety/ReadStart.h"

#include <algorithm>

#include "drivetest/devices/Drives.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceDescription.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

/// Whoever mounts media as they come in would disturb the test of an optical drive. A disc that is in use
/// already, and a generic node, which cannot be held, are read all the same.
std::unique_ptr<libDrive2::DeviceLease> holdOffMounters(const quix5::DiagDevice& device) {
    libDrive2::DeviceStatus ignored;
    if (!device.hasCapability(quix5::DeviceCapability::SCSIMMC) || libDrive2::isSimulated(device.osLocator()))
        return nullptr;
    return libDrive2::DeviceLease::take(device.osLocator(), libDrive2::LeasePurpose::write, ignored);
}

}  // namespace

ExitStatus takeForReading(const quix5::DiagDevice& device, std::unique_ptr<libDrive2::DeviceLease>& lease,
                          Console& console) {
    lease = holdOffMounters(device);
    if (lease != nullptr)
        return kExitPass;
    libDrive2::DeviceStatus failure;
    lease = libDrive2::DeviceLease::take(device.osLocator(), libDrive2::LeasePurpose::read, failure);
    if (failure.type == libDrive2::LIBDRIVE2_BUSY) {
        complain(failure.text.utf8() + ": wait until it has ended, then try again");
        return kExitBusy;
    }
    if (lease == nullptr)
        return kExitPass;
    for (const zel::String& user : lease->users())
        console.line("note:    " + user.utf8() + "; reading does no harm, but rates may be lower");
    tellOfRest(device, *lease, console);
    return kExitPass;
}

void tellOfRest(const quix5::DiagDevice& device, const libDrive2::DeviceLease& lease, Console& console) {
    const std::uint64_t rest =
        numberProperty(device, quix5::kPropertyBytes) % std::max(1U, lease.identity().sectorBytes);
    if (rest != 0)
        console.line("note:    the last " + countText(rest, "byte") +
                     " are no whole sector and are not tested");
}

}  // namespace drivetest
