#include "drivetest/safety/Identity.h"

#include <algorithm>
#include <filesystem>

#include "drivetest/devices/Drives.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

/// The model, or the path where that says more. All simulated drives are of one model.
std::string modelOf(const quix5::DiagDevice& device) {
    const std::string locator = device.osLocator().utf8();
    std::string model = textProperty(device, quix5::kPropertyModel);
    if (locator.starts_with("sim:"))
        return textProperty(device, quix5::kPropertySerial).empty() ? locator : model;
    if (!model.empty())
        return model;
    std::error_code unknown;
    const auto path = std::filesystem::canonical(locator, unknown);
    return unknown ? locator : path.string();
}

}  // namespace

bool identify(const quix5::DiagDevice& device, libDrive2::DriveIdentity& identity, std::string& error) {
    const auto handle = libDrive2::OsDevice::openOsDevice(device.osLocator(), libDrive2::kAccessRead,
                                                          libDrive2::kShareRead | libDrive2::kShareWrite,
                                                          libDrive2::kOpenExisting, 0);
    if (!handle) {
        error = libDrive2::lastOpenErrorStr().utf8();
        return false;
    }
    identity.model = modelOf(device);
    identity.serial = textProperty(device, quix5::kPropertySerial);
    identity.sectorBytes = handle->info().logicalSectorBytes;
    identity.sectors = handle->info().bytes / std::max(1U, identity.sectorBytes);
    return true;
}

bool isUnmistakable(const libDrive2::DriveIdentity& identity) {
    const std::string model = identity.model.utf8();
    return !identity.serial.isEmpty() || model.starts_with("/") || model.starts_with("sim:");
}

bool isSameDrive(const libDrive2::DriveIdentity& a, const libDrive2::DriveIdentity& b) {
    // A file stays itself when its size changes; of two sticks of one model, one may be larger.
    if (!isUnmistakable(a) || !isUnmistakable(b))
        return a == b;
    return a.serial == b.serial && a.model == b.model;
}

}  // namespace drivetest
