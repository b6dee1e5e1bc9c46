#include "libDrive2/sim/SimProvider.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/sim/SimAtaDevice.h"
#include "libDrive2/sim/SimBlockHandle.h"
#include "libDrive2/sim/SimDrives.h"
#include "libDrive2/sim/SimIdentity.h"
#include "libDrive2/sim/SimLease.h"
#include "libDrive2/sim/SimNVMeDevice.h"
#include "libDrive2/sim/SimScsiDevice.h"
#include "libDrive2/sim/SimUfiDevice.h"
#include "libDrive2/sim/SimVolumes.h"
#include "libDrive2/sim/optical/OpticalBlockHandle.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kReadWrite = kAccessRead | kAccessWrite;

bool isOptical(const zel::String& locator) {
    zel::String ignored;
    const auto options = SimDrives::get().options(locator, ignored);
    return options != nullptr && options->kind == SimKind::optical;
}

std::unique_ptr<ScsiPassThrough> openOptical(const zel::String& locator, bool writable) {
    std::shared_ptr<OpticalDrive> drive = SimDrives::get().optical(locator);
    return drive != nullptr ? std::make_unique<OpticalPassThrough>(std::move(drive), writable) : nullptr;
}

/// For interfaces that are opened without naming an access: to write where the file allows it.
std::shared_ptr<SimMedium> openFully(const zel::String& locator, SimKind kind, const char* interface) {
    auto medium = SimDrives::get().medium(locator, kReadWrite, simKinds(kind), interface);
    return medium ? medium : SimDrives::get().medium(locator, kAccessRead, simKinds(kind), interface);
}

std::optional<SimIdentity> identityOf(const zel::String& locator) {
    if (isOptical(locator)) {
        const auto drive = SimDrives::get().optical(locator);
        return drive ? std::optional(identify(*drive)) : std::nullopt;
    }
    const auto medium = SimDrives::get().medium(locator, kAccessRead, kAllSimKinds, "block");
    return medium ? std::optional(identify(*medium)) : std::nullopt;
}

}  // namespace

SimProvider& SimProvider::get() {
    static SimProvider provider;
    return provider;
}

bool SimProvider::owns(const zel::String& locator) const {
    return isSimLocator(locator);
}

bool SimProvider::skipsTime(const zel::String& locator) const {
    zel::String ignored;
    const auto options = SimDrives::get().options(locator, ignored);
    return options == nullptr || !options->realTime;
}

bool SimProvider::describe(const zel::String& locator, DeviceDescription& description, zel::String& error) {
    const std::optional<SimIdentity> identity = identityOf(locator);
    if (!identity) {
        error = lastOpenErrorStr().shown();
        return false;
    }
    description.capabilities = identity->capabilities;
    description.model = identity->model;
    description.serial = identity->serial;
    description.firmware = identity->firmware;
    description.bytes = identity->bytes;
    description.sectorBytes = identity->sectorBytes;
    zel::String ignored;
    const auto options = SimDrives::get().options(locator, ignored);
    description.protectionType = options != nullptr ? options->protectionType : std::uint8_t{0};
    if (options != nullptr && options->isHidden())
        description.whyNotShown = whyNotShown(options->sectorBytes);
    return true;
}

std::unique_ptr<BlockHandle> SimProvider::openBlock(const zel::String& locator, std::uint32_t desiredAccess,
                                                    std::uint32_t /*shareMode*/) {
    const bool writable = (desiredAccess & kAccessWrite) != 0;
    if (isOptical(locator)) {
        auto commands = openOptical(locator, writable);
        return commands ? std::make_unique<OpticalBlockHandle>(std::move(commands), writable) : nullptr;
    }
    auto medium = SimDrives::get().medium(locator, desiredAccess, kAllSimKinds, "block");
    if (medium && medium->options().isHidden()) {
        noteOpenError(
            zel::worded("the simulated drive \"{drive}\" has no block interface: its sectors have {n} bytes",
                        {{"drive", locator}, {"n", medium->options().sectorBytes}}));
        return nullptr;
    }
    return medium ? std::make_unique<SimBlockHandle>(std::move(medium), writable) : nullptr;
}

std::unique_ptr<ScsiPassThrough> SimProvider::openScsi(const zel::String& locator,
                                                       std::uint32_t desiredAccess) {
    constexpr SimKinds kScsiKinds = simKinds(SimKind::scsi, SimKind::ufi, SimKind::ata);
    const bool writable = (desiredAccess & kAccessWrite) != 0;
    if (isOptical(locator))
        return openOptical(locator, writable);
    auto medium = SimDrives::get().medium(locator, desiredAccess, kScsiKinds, "SCSI");
    if (!medium)
        return nullptr;
    const SimOptions& options = medium->options();
    if (options.kind == SimKind::ufi)
        return std::make_unique<SimUfiDevice>(std::move(medium), writable);
    if (options.kind == SimKind::ata && !options.emulated) {
        noteOpenError(
            zel::worded("the simulated drive \"{drive}\" has no SCSI interface without \"emulated\"",
                        {{"drive", locator}}));
        return nullptr;
    }
    return std::make_unique<SimScsiDevice>(std::move(medium), writable);
}

std::unique_ptr<ScsiPassThrough> SimProvider::openScsiObject(const zel::String& /*locator*/,
                                                             bool /*writable*/) {
    return nullptr;
}

std::unique_ptr<AtaDevice> SimProvider::openAta(const zel::String& locator) {
    auto medium = openFully(locator, SimKind::ata, "ATA");
    return medium ? std::make_unique<SimAtaDevice>(std::move(medium)) : nullptr;
}

std::unique_ptr<NVMeDevice> SimProvider::openNVMe(const zel::String& locator) {
    auto medium = openFully(locator, SimKind::nvme, "NVMe");
    return medium ? std::make_unique<SimNVMeDevice>(std::move(medium)) : nullptr;
}

std::unique_ptr<DeviceLockingManager::Volumes> SimProvider::volumes(const zel::String& locator) {
    return std::make_unique<SimVolumes>(locator);
}

std::unique_ptr<DeviceLease> SimProvider::take(const zel::String& locator, LeasePurpose purpose,
                                               DeviceStatus& failure) {
    return SimLease::take(locator, purpose, failure);
}

}  // namespace libDrive2
