#include "libDrive2/OSDrive.h"

#include <algorithm>

#include "libDrive2/drives/DriveAction.h"

namespace libDrive2 {

OSDrive::OSDrive(SharedBlockHandle handle, zel::String osLocator)
    : m_handle(std::move(handle)), m_osLocator(std::move(osLocator)) {
    setNativeSectors(m_handle->info().logicalSectorBytes != 0);
}

std::uint32_t OSDrive::getSectorSize() {
    return m_handle->info().logicalSectorBytes;
}

std::uint64_t OSDrive::getSectorCount() {
    const BlockDeviceInfo& info = m_handle->info();
    return info.logicalSectorBytes != 0 ? info.bytes / info.logicalSectorBytes : 0;
}

std::uint32_t OSDrive::getPhysicalSectorSize() {
    return std::max(m_handle->info().physicalSectorBytes, getSectorSize());
}

std::uint32_t OSDrive::mediaCapabilties() {
    return m_mediaCapabilities;
}
std::uint32_t OSDrive::supportedCapabilties() {
    return m_mediaCapabilities;
}
bool OSDrive::isMediaRemovable() {
    return m_handle->info().removable;
}

bool OSDrive::isMediaPresent() {
    // Only a removable medium can have come or gone since the last look.
    if (m_handle->info().removable)
        (void)m_handle->query();
    // A handle that was opened without a medium sees none that comes.
    if (!m_handle->info().mediumPresent)
        (void)m_handle->reopen();
    return m_handle->info().mediumPresent;
}

std::uint16_t OSDrive::optimalSectors(std::uint16_t limit) {
    const BlockDeviceInfo& info = m_handle->info();
    const std::uint32_t sectors = info.optimalTransferBytes / std::max(1U, info.logicalSectorBytes);
    return static_cast<std::uint16_t>(
        std::clamp<std::uint32_t>(sectors, 1, std::max<std::uint16_t>(limit, 1)));
}

std::uint16_t OSDrive::getOptimalRd(std::uint16_t limit) {
    return optimalSectors(limit);
}
std::uint16_t OSDrive::getOptimalWr(std::uint16_t limit) {
    return optimalSectors(limit);
}

bool OSDrive::disableAutoRun() {
    return m_handle->holdAutoRun(true);
}
bool OSDrive::reenableAutoRun() {
    return m_handle->holdAutoRun(false);
}

std::unique_ptr<TemperatureAccessor> OSDrive::getTemperatureAccessor() {
    return TemperatureAccessor::over([handle = m_handle] { return handle->temperature(); });
}

bool OSDrive::reOpenHandle() {
    lastError = take(m_handle->reopen());
    return lastError == LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES OSDrive::take(DeviceStatus status) {
    return status.ok() ? LIBDRIVE2_NO_ERROR : fail(status.type, std::move(status.text));
}

_LIBDRIVE2_ERROR_TYPES OSDrive::doQueryDeviceInfo() {
    return take(m_handle->query());
}
/// The system measures a medium when the drive is opened.
_LIBDRIVE2_ERROR_TYPES OSDrive::doQueryMediumInfo() {
    return take(isMediaRemovable() ? m_handle->reopen() : m_handle->query());
}

_LIBDRIVE2_ERROR_TYPES OSDrive::failTransfer(const char* what, std::uint64_t lba, std::uint32_t count,
                                             DeviceStatus status) {
    const DeviceStatus explained = explain(std::move(status));
    return fail(explained.type, failureOf({what, lba, count}, m_osLocator, explained.text), explained.text);
}

_LIBDRIVE2_ERROR_TYPES OSDrive::doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                             std::uint32_t /*bufferBytes*/) {
    const std::uint32_t sectorBytes = getSectorSize();
    DeviceStatus status = m_handle->read(lba * sectorBytes, buffer, std::size_t{count} * sectorBytes);
    return status.ok() ? LIBDRIVE2_NO_ERROR : failTransfer(kReading, lba, count, std::move(status));
}

_LIBDRIVE2_ERROR_TYPES OSDrive::doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                              std::uint32_t /*bufferBytes*/) {
    const std::uint32_t sectorBytes = getSectorSize();
    DeviceStatus status = m_handle->write(lba * sectorBytes, buffer, std::size_t{count} * sectorBytes);
    return status.ok() ? LIBDRIVE2_NO_ERROR : failTransfer(kWriting, lba, count, std::move(status));
}

_LIBDRIVE2_ERROR_TYPES OSDrive::doSeekSector(std::uint64_t lba) {
    DeviceStatus status = m_handle->seek(lba * getSectorSize());
    if (status.type == LIBDRIVE2_NOT_SUPPORTED)
        return Drive::doSeekSector(lba);
    return status.ok() ? LIBDRIVE2_NO_ERROR : failTransfer(kSeeking, lba, 1, std::move(status));
}

_LIBDRIVE2_ERROR_TYPES OSDrive::doSyncCache() {
    return take(m_handle->flush());
}
_LIBDRIVE2_ERROR_TYPES OSDrive::doFlushCache() {
    return take(m_handle->flush());
}
_LIBDRIVE2_ERROR_TYPES OSDrive::doClearCache() {
    return take(m_handle->dropCache());
}

_LIBDRIVE2_ERROR_TYPES OSDrive::doPreventMediumRemoval(bool prevent) {
    return take(m_handle->lockMedium(prevent));
}
_LIBDRIVE2_ERROR_TYPES OSDrive::doEjectDrive() {
    return take(m_handle->eject());
}
_LIBDRIVE2_ERROR_TYPES OSDrive::doLoadDrive() {
    return take(m_handle->load());
}

void OSDrive::setMediaCapabilities(std::uint32_t capabilities) {
    m_mediaCapabilities = capabilities;
}

}  // namespace libDrive2
