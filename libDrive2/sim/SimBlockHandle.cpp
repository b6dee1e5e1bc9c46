#include "libDrive2/sim/SimBlockHandle.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenError.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kOptimalTransferBytes = 64 * 1024;

}  // namespace

SimBlockHandle::SimBlockHandle(SimMedium medium, bool writable) : m_medium(std::move(medium)) {
    const SimOptions& options = m_medium.options();
    m_info.bytes = options.mediumPresent ? options.sectors * options.sectorBytes : 0;
    m_info.logicalSectorBytes = options.sectorBytes;
    m_info.physicalSectorBytes = options.sectorBytes;
    m_info.optimalTransferBytes = kOptimalTransferBytes;
    m_info.removable = options.removable;
    m_info.mediumPresent = options.mediumPresent;
    m_info.writable = writable;
}

DeviceStatus SimBlockHandle::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    const std::uint32_t sectorBytes = m_info.logicalSectorBytes;
    return m_medium.read(offset / sectorBytes, static_cast<std::uint32_t>(bytes / sectorBytes),
                         static_cast<std::uint8_t*>(buffer));
}

DeviceStatus SimBlockHandle::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    if (!m_info.writable)
        return {LIBDRIVE2_WRITE_PROTECTED_DEVICE, "the device was opened for reading only"};
    const std::uint32_t sectorBytes = m_info.logicalSectorBytes;
    return m_medium.write(offset / sectorBytes, static_cast<std::uint32_t>(bytes / sectorBytes),
                          static_cast<const std::uint8_t*>(buffer));
}

DeviceStatus SimBlockHandle::seek(std::uint64_t offset) {
    return m_medium.seek(offset / m_info.logicalSectorBytes);
}

std::unique_ptr<BlockHandle> openSimBlockDevice(const zel::String& locator, std::uint32_t desiredAccess) {
    zel::String error;
    std::optional<SimOptions> options = parseSimLocator(locator, error);
    if (!options) {
        noteOpenError(error);
        return nullptr;
    }
    SharedBlockHandle image;
    if (!options->imagePath.empty()) {
        image = OsDevice::openOsDevice(options->imagePath, desiredAccess, kShareRead | kShareWrite,
                                       kOpenExisting, 0);
        if (!image)
            return nullptr;
        if (!options->sectorsGiven)
            options->sectors = image->info().bytes / options->sectorBytes;
        if (options->sectors > image->info().bytes / options->sectorBytes) {
            noteOpenError(zel::String(options->imagePath) + " is smaller than the simulated drive over it");
            return nullptr;
        }
        if (const std::string problem = findFaultBeyondEnd(*options); !problem.empty()) {
            noteOpenError("the simulated drive over " + options->imagePath + " cannot be made: " + problem);
            return nullptr;
        }
    }
    const bool writable = (desiredAccess & kAccessWrite) != 0;
    return std::make_unique<SimBlockHandle>(SimMedium(std::move(*options), std::move(image)), writable);
}

}  // namespace libDrive2
