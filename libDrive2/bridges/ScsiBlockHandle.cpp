#include "libDrive2/bridges/ScsiBlockHandle.h"

#include <algorithm>

#include "libDrive2/DeviceOpeners.h"

namespace libDrive2 {

namespace {

/// What one operation moves: the sizes of operations have 32 bits.
constexpr std::size_t kMostBytes = std::size_t{16} << 20;

}  // namespace

SharedBlockHandle ScsiBlockHandle::over(SharedScsiPassThrough device, bool writable, zel::Wording& reason) {
    if (!device) {
        reason = lastOpenErrorStr();
        return {};
    }
    std::unique_ptr<ScsiBlockHandle> handle(new ScsiBlockHandle(std::move(device), writable));
    if (const DeviceStatus status = handle->query(); !status.ok()) {
        reason = status.text;
        return {};
    }
    return SharedBlockHandle(std::unique_ptr<BlockHandle>(std::move(handle)));
}

ScsiBlockHandle::ScsiBlockHandle(SharedScsiPassThrough device, bool writable) : m_drive(std::move(device)) {
    m_drive.setRetryCallbackBehavior(LIBDRIVE2_SILENT);
    m_info.writable = writable;
}

DeviceStatus ScsiBlockHandle::statusOf(bool succeeded) {
    if (succeeded)
        return {};
    return {m_drive.lastError, m_drive.lastErrorShown()};
}

void ScsiBlockHandle::takeSizes() {
    m_info.logicalSectorBytes = m_drive.getSectorSize();
    m_info.physicalSectorBytes = m_drive.getPhysicalSectorSize();
    m_info.bytes = m_drive.getSectorCount() * m_drive.getSectorSize();
    m_info.removable = m_drive.isMediaRemovable();
    m_info.mediumPresent = m_info.bytes != 0;
}

DeviceStatus ScsiBlockHandle::query() {
    const DeviceStatus status = statusOf(m_drive.queryMediumInfo());
    takeSizes();
    return status;
}

template <class Move>
DeviceStatus ScsiBlockHandle::transfer(std::uint64_t offset, std::size_t bytes, Move move) {
    const std::uint64_t sectorBytes = m_info.logicalSectorBytes;
    if (sectorBytes == 0 || offset % sectorBytes != 0 || bytes % sectorBytes != 0)
        return {LIBDRIVE2_BAD_ARGUMENT, "only whole sectors can be moved"};
    const std::size_t most = std::max<std::size_t>(1, kMostBytes / sectorBytes) * sectorBytes;
    for (std::size_t done = 0; done < bytes;) {
        const auto now = static_cast<std::uint32_t>(std::min(most, bytes - done));
        if (!move((offset + done) / sectorBytes, static_cast<std::uint32_t>(now / sectorBytes), done, now))
            return statusOf(false);
        done += now;
    }
    return {};
}

DeviceStatus ScsiBlockHandle::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    return transfer(
        offset, bytes, [&](std::uint64_t lba, std::uint32_t count, std::size_t done, std::uint32_t size) {
            return m_drive.readSector(lba, count, static_cast<std::uint8_t*>(buffer) + done, size);
        });
}

DeviceStatus ScsiBlockHandle::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    if (!m_info.writable)
        return {LIBDRIVE2_WRITE_PROTECTED_DEVICE, zel::worded("the device was opened for reading only")};
    return transfer(
        offset, bytes, [&](std::uint64_t lba, std::uint32_t count, std::size_t done, std::uint32_t size) {
            return m_drive.writeSector(lba, count, static_cast<const std::uint8_t*>(buffer) + done, size);
        });
}

DeviceStatus ScsiBlockHandle::flush() {
    const DeviceStatus status = statusOf(m_drive.flushCache());
    // What has no cache needs no flush.
    return status.type == LIBDRIVE2_NOT_SUPPORTED ? DeviceStatus{} : status;
}

DeviceStatus ScsiBlockHandle::reopen() {
    const DeviceStatus status = statusOf(m_drive.reOpenHandle());
    return status.ok() ? query() : status;
}

}  // namespace libDrive2
