#include "libDrive2/sim/SimDrives.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/OpenLeases.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// Drives that nobody uses are remembered up to this number of all.
constexpr std::size_t kRemembered = 64;

std::uint32_t bytesOfSector(const SimOptions& options) {
    return options.kind == SimKind::optical ? kOpticalSectorBytes : options.sectorBytes;
}

/// Opens what holds the drive's contents, and takes its size where the locator gives none; false when the
/// drive does not fit it. Nothing is opened for a drive in memory.
bool openContents(SimOptions& options, std::uint32_t desiredAccess, SharedBlockHandle& image) {
    if (options.imagePath.empty())
        return true;
    image = openSimImage(options.imagePath, desiredAccess);
    if (!image)
        return false;
    const std::uint64_t imageSectors = image->info().bytes / bytesOfSector(options);
    if (!options.sectorsGiven)
        options.sectors = imageSectors;
    if (options.sectors > imageSectors) {
        noteOpenError(
            zel::worded("{path} is smaller than the simulated drive over it", {{"path", options.imagePath}}));
        return false;
    }
    const std::string problem = checkSize(options);
    if (!problem.empty())
        noteOpenError(zel::worded("the simulated drive over {path} cannot be made: {reason}",
                                  {{"path", options.imagePath}, {"reason", problem}}));
    return problem.empty();
}

/// The first handle of a drive may have opened its file for reading only.
bool ensureAccess(SimMedium& medium, std::uint32_t desiredAccess) {
    if ((desiredAccess & kAccessWrite) == 0 || !medium.image() || medium.image()->info().writable)
        return true;
    SharedBlockHandle image = openSimImage(medium.options().imagePath, desiredAccess);
    const bool opened = static_cast<bool>(image);
    if (opened)
        medium.setImage(std::move(image));
    return opened;
}

}  // namespace

SharedBlockHandle openSimImage(const zel::String& path, std::uint32_t desiredAccess) {
    DeviceLease* const lease = OpenLeases::find(path);
    if (lease == nullptr)
        return OsDevice::openOsDevice(path, desiredAccess, kShareRead | kShareWrite, kOpenExisting, 0);
    zel::Wording problem;
    SharedBlockHandle image = lease->openBlock((desiredAccess & kAccessWrite) != 0, problem);
    if (!image)
        noteOpenError(problem);
    return image;
}

SimDrives& SimDrives::get() {
    static SimDrives drives;
    return drives;
}

SimDrives::Drive& SimDrives::at(const zel::String& locator) {
    if (const auto known = m_drives.find(locator); known != m_drives.end())
        return known->second;
    if (m_drives.size() >= kRemembered)
        std::erase_if(m_drives, [](const auto& entry) {
            return entry.second.medium.expired() && entry.second.optical.expired();
        });
    Drive& drive = m_drives[locator];
    if (auto options = parseSimLocator(locator, drive.problem))
        drive.options = std::make_shared<const SimOptions>(std::move(*options));
    return drive;
}

std::shared_ptr<const SimOptions> SimDrives::options(const zel::String& locator, zel::String& error) {
    const std::lock_guard lock(m_mutex);
    const Drive& drive = at(locator);
    if (drive.options == nullptr)
        error = drive.problem;
    return drive.options;
}

std::shared_ptr<SimMedium> SimDrives::medium(const zel::String& locator, std::uint32_t desiredAccess,
                                             SimKinds kinds, const char* interface) {
    const std::lock_guard lock(m_mutex);
    Drive& drive = at(locator);
    if (drive.options == nullptr) {
        noteOpenError(drive.problem);
        return nullptr;
    }
    if ((simKinds(drive.options->kind) & kinds) == 0) {
        noteOpenError(zel::worded("the simulated drive \"{drive}\" has no {interface} interface",
                                  {{"drive", locator}, {"interface", interface}}));
        return nullptr;
    }
    if (const auto medium = drive.medium.lock())
        return ensureAccess(*medium, desiredAccess) ? medium : nullptr;
    SimOptions options = *drive.options;
    SharedBlockHandle image;
    if (!openContents(options, desiredAccess, image))
        return nullptr;
    Drive& remembered = at(locator);  // forgotten, perhaps, for a drive beneath it
    if (remembered.health == nullptr)
        remembered.health = std::make_shared<SimHealth>(options.health);
    const auto medium = std::make_shared<SimMedium>(std::move(options), std::move(image), remembered.health);
    remembered.medium = medium;
    return medium;
}

std::shared_ptr<OpticalDrive> SimDrives::optical(const zel::String& locator) {
    const std::lock_guard lock(m_mutex);
    Drive& drive = at(locator);
    if (drive.options == nullptr) {
        noteOpenError(drive.problem);
        return nullptr;
    }
    if (auto open = drive.optical.lock())
        return open;
    SimOptions options = *drive.options;
    SharedBlockHandle image;
    // Recordings stay in memory.
    if (!openContents(options, kAccessRead, image))
        return nullptr;
    auto made = std::make_shared<OpticalDrive>(std::move(options), std::move(image));
    at(locator).optical = made;
    return made;
}

}  // namespace libDrive2
