#include "libDrive2/sim/optical/OpticalDevices.h"

#include <map>
#include <mutex>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenError.h"
#include "libDrive2/sim/optical/OpticalBlockHandle.h"

namespace libDrive2 {

namespace {

constexpr std::size_t kMaxTransferBytes = std::size_t{1} << 20;

struct OpenDrives {
    std::recursive_mutex mutex;  // an image may be a simulated drive again
    std::map<zel::String, std::weak_ptr<OpticalDrive>> drives;
};

OpenDrives& openDrives() {
    static OpenDrives drives;
    return drives;
}

/// The SCSI interface of one handle.
class OpticalPassThrough : public ScsiPassThrough {
public:
    OpticalPassThrough(std::shared_ptr<OpticalDrive> drive, bool writable)
        : m_drive(std::move(drive)), m_writable(writable) {}

    ScsiResponse execute(const ScsiRequest& request) override {
        ScsiResponse response;
        if (request.dataBytes > kMaxTransferBytes)
            response.delivery = {LIBDRIVE2_BAD_ARGUMENT, "one command transfers at most 1048576 bytes"};
        else if (!m_writable && OpticalDrive::changesMedium(request.cdb[0]))
            response.delivery = {LIBDRIVE2_WRITE_PROTECTED_DEVICE, "the device was opened for reading only"};
        return response.delivery.ok() ? m_drive->execute(request) : response;
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return kMaxTransferBytes; }
    DeviceStatus reopen() override { return {}; }

private:
    std::shared_ptr<OpticalDrive> m_drive;
    bool m_writable;
};

/// Opens what the options name as contents, and takes its size; false when it does not do.
bool openImage(SimOptions& options, SharedBlockHandle& image) {
    if (options.imagePath.empty())
        return true;
    image =
        OsDevice::openOsDevice(options.imagePath, kAccessRead, kShareRead | kShareWrite, kOpenExisting, 0);
    if (!image)
        return false;
    const std::uint64_t sectors = image->info().bytes / kOpticalSectorBytes;
    if (!options.sectorsGiven)
        options.sectors = sectors;
    const std::string problem =
        options.sectors > sectors ? "the image is smaller than the medium" : checkSize(options);
    if (!problem.empty())
        noteOpenError("the simulated medium over " + options.imagePath + " cannot be made: " + problem);
    return problem.empty();
}

std::unique_ptr<ScsiPassThrough> passThrough(std::shared_ptr<OpticalDrive> drive, std::uint32_t access) {
    return std::make_unique<OpticalPassThrough>(std::move(drive), (access & kAccessWrite) != 0);
}

}  // namespace

bool isOpticalLocator(const zel::String& locator) {
    zel::String error;
    const std::optional<SimOptions> options = parseSimLocator(locator, error);
    return options && options->kind == SimKind::optical;
}

std::shared_ptr<OpticalDrive> openOpticalDrive(const zel::String& locator) {
    zel::String error;
    std::optional<SimOptions> options = parseSimLocator(locator, error);
    if (!options) {
        noteOpenError(error);
        return nullptr;
    }
    OpenDrives& open = openDrives();
    const std::lock_guard lock(open.mutex);
    std::erase_if(open.drives, [](const auto& entry) { return entry.second.expired(); });
    const auto found = open.drives.find(locator);
    std::shared_ptr<OpticalDrive> drive = found != open.drives.end() ? found->second.lock() : nullptr;
    SharedBlockHandle image;
    if (!drive && openImage(*options, image)) {
        drive = std::make_shared<OpticalDrive>(std::move(*options), std::move(image));
        open.drives[locator] = drive;
    }
    return drive;
}

std::unique_ptr<ScsiPassThrough> openOpticalScsiDevice(const zel::String& locator,
                                                       std::uint32_t desiredAccess) {
    std::shared_ptr<OpticalDrive> drive = openOpticalDrive(locator);
    return drive ? passThrough(std::move(drive), desiredAccess) : nullptr;
}

std::unique_ptr<BlockHandle> openOpticalBlockDevice(const zel::String& locator, std::uint32_t desiredAccess) {
    std::shared_ptr<OpticalDrive> drive = openOpticalDrive(locator);
    const bool writable = (desiredAccess & kAccessWrite) != 0;
    return drive
               ? std::make_unique<OpticalBlockHandle>(passThrough(std::move(drive), desiredAccess), writable)
               : nullptr;
}

std::optional<SimIdentity> describeOpticalDevice(const zel::String& locator, zel::String& error) {
    const std::shared_ptr<OpticalDrive> drive = openOpticalDrive(locator);
    if (!drive) {
        error = lastOpenErrorStr();
        return std::nullopt;
    }
    SimIdentity identity;
    identity.capabilities = quix5::DeviceCapability::SCSIMMC | quix5::DeviceCapability::CDROM;
    identity.model = std::string(kSimVendor).append(" ").append(traitsOf(SimKind::optical).product);
    identity.serial = drive->options().serial;
    identity.firmware = "1.0";
    const std::uint64_t sectors = drive->disc() != nullptr ? drive->disc()->readableSectors() : 0;
    identity.bytes = sectors * kOpticalSectorBytes;
    identity.sectorBytes = kOpticalSectorBytes;
    return identity;
}

}  // namespace libDrive2
