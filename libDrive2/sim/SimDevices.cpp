#include "libDrive2/sim/SimDevices.h"

#include <map>
#include <mutex>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenError.h"
#include "libDrive2/sim/SimAtaDevice.h"
#include "libDrive2/sim/SimBlockHandle.h"
#include "libDrive2/sim/SimNVMeDevice.h"
#include "libDrive2/sim/SimScsiDevice.h"
#include "libDrive2/sim/SimUfiDevice.h"
#include "libDrive2/sim/optical/OpticalDevices.h"

namespace libDrive2 {

namespace {

using SharedMedium = std::shared_ptr<SimMedium>;

/// The drives that have a handle, by locator.
struct OpenDrives {
    std::recursive_mutex mutex;  // a backing file may be a simulated drive again
    std::map<zel::String, std::weak_ptr<SimMedium>> media;
};

OpenDrives& openDrives() {
    static OpenDrives drives;
    return drives;
}

SharedBlockHandle openImage(const std::string& path, std::uint32_t desiredAccess) {
    return OsDevice::openOsDevice(path, desiredAccess, kShareRead | kShareWrite, kOpenExisting, 0);
}

/// Takes the size of the file where the locator gives none; false when the drive does not fit it.
bool fitToImage(SimOptions& options, std::uint64_t imageBytes) {
    const std::uint64_t imageSectors = imageBytes / options.sectorBytes;
    if (!options.sectorsGiven)
        options.sectors = imageSectors;
    if (options.sectors > imageSectors) {
        noteOpenError(zel::String(options.imagePath) + " is smaller than the simulated drive over it");
        return false;
    }
    const std::string problem = checkSize(options);
    if (!problem.empty())
        noteOpenError("the simulated drive over " + options.imagePath + " cannot be made: " + problem);
    return problem.empty();
}

SharedMedium makeMedium(SimOptions options, std::uint32_t desiredAccess) {
    SharedBlockHandle image;
    if (!options.imagePath.empty()) {
        image = openImage(options.imagePath, desiredAccess);
        if (!image || !fitToImage(options, image->info().bytes))
            return nullptr;
    }
    return std::make_shared<SimMedium>(std::move(options), std::move(image));
}

/// The first handle of a drive may have opened its file for reading only.
bool ensureAccess(SimMedium& medium, std::uint32_t desiredAccess) {
    if ((desiredAccess & kAccessWrite) == 0 || !medium.image() || medium.image()->info().writable)
        return true;
    SharedBlockHandle image = openImage(medium.options().imagePath, desiredAccess);
    const bool opened = static_cast<bool>(image);
    if (opened)
        medium.setImage(std::move(image));
    return opened;
}

/// The medium of the drive if it has one of these kinds.
SharedMedium openMedium(const zel::String& locator, std::uint32_t desiredAccess, SimKinds kinds,
                        const char* interface) {
    zel::String error;
    std::optional<SimOptions> options = parseSimLocator(locator, error);
    if (options && (simKinds(options->kind) & kinds) == 0) {
        error = "the simulated drive \"" + locator + "\" has no " + interface + " interface";
        options.reset();
    }
    if (!options) {
        noteOpenError(error);
        return nullptr;
    }
    OpenDrives& drives = openDrives();
    const std::lock_guard lock(drives.mutex);
    std::erase_if(drives.media, [](const auto& entry) { return entry.second.expired(); });
    const auto open = drives.media.find(locator);
    if (SharedMedium medium = open != drives.media.end() ? open->second.lock() : nullptr)
        return ensureAccess(*medium, desiredAccess) ? medium : nullptr;
    SharedMedium medium = makeMedium(std::move(*options), desiredAccess);
    if (medium)
        drives.media[locator] = medium;
    return medium;
}

/// For interfaces that are opened without naming an access: to write where the file allows it.
SharedMedium openFully(const zel::String& locator, SimKind kind, const char* interface) {
    SharedMedium medium = openMedium(locator, kAccessRead | kAccessWrite, simKinds(kind), interface);
    return medium ? medium : openMedium(locator, kAccessRead, simKinds(kind), interface);
}

}  // namespace

std::unique_ptr<BlockHandle> openSimBlockDevice(const zel::String& locator, std::uint32_t desiredAccess) {
    if (isOpticalLocator(locator))
        return openOpticalBlockDevice(locator, desiredAccess);
    SharedMedium medium = openMedium(locator, desiredAccess, kAllSimKinds, "block");
    const bool writable = (desiredAccess & kAccessWrite) != 0;
    return medium ? std::make_unique<SimBlockHandle>(std::move(medium), writable) : nullptr;
}

std::unique_ptr<ScsiPassThrough> openSimScsiDevice(const zel::String& locator, std::uint32_t desiredAccess) {
    constexpr SimKinds kScsiKinds = simKinds(SimKind::scsi, SimKind::ufi, SimKind::ata);
    if (isOpticalLocator(locator))
        return openOpticalScsiDevice(locator, desiredAccess);
    SharedMedium medium = openMedium(locator, desiredAccess, kScsiKinds, "SCSI");
    if (!medium)
        return nullptr;
    const SimOptions& options = medium->options();
    const bool writable = (desiredAccess & kAccessWrite) != 0;
    if (options.kind == SimKind::ufi)
        return std::make_unique<SimUfiDevice>(std::move(medium), writable);
    if (options.kind == SimKind::ata && !options.emulated) {
        noteOpenError("the simulated drive \"" + locator + "\" has no SCSI interface without \"emulated\"");
        return nullptr;
    }
    return std::make_unique<SimScsiDevice>(std::move(medium), writable);
}

std::unique_ptr<AtaDevice> openSimAtaDevice(const zel::String& locator) {
    SharedMedium medium = openFully(locator, SimKind::ata, "ATA");
    return medium ? std::make_unique<SimAtaDevice>(std::move(medium)) : nullptr;
}

std::unique_ptr<NVMeDevice> openSimNVMeDevice(const zel::String& locator) {
    SharedMedium medium = openFully(locator, SimKind::nvme, "NVMe");
    return medium ? std::make_unique<SimNVMeDevice>(std::move(medium)) : nullptr;
}

std::optional<SimIdentity> describeSimDevice(const zel::String& locator, zel::String& error) {
    if (isOpticalLocator(locator))
        return describeOpticalDevice(locator, error);
    const SharedMedium medium = openMedium(locator, kAccessRead, kAllSimKinds, "block");
    if (medium)
        return identify(*medium);
    error = lastOpenErrorStr();
    return std::nullopt;
}

}  // namespace libDrive2
