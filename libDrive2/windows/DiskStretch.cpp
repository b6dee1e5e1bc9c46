#include "libDrive2/windows/DiskStretch.h"

#include <utility>

namespace libDrive2 {

namespace {

DeviceStatus outside() {
    return {LIBDRIVE2_BAD_ARGUMENT, "the transfer goes beyond the end of the volume"};
}

}  // namespace

DiskStretch::DiskStretch(std::unique_ptr<BlockHandle> disk, std::uint64_t start, std::uint64_t bytes)
    : m_disk(std::move(disk)), m_start(start), m_bytes(bytes) {
    takeInfo();
}

void DiskStretch::takeInfo() {
    m_info = m_disk->info();
    m_info.bytes = m_bytes;
}

bool DiskStretch::holds(std::uint64_t offset, std::size_t bytes) const {
    return bytes <= m_bytes && offset <= m_bytes - bytes;
}

DeviceStatus DiskStretch::query() {
    const DeviceStatus status = m_disk->query();
    takeInfo();
    return status;
}

DeviceStatus DiskStretch::reopen() {
    const DeviceStatus status = m_disk->reopen();
    takeInfo();
    return status;
}

DeviceStatus DiskStretch::read(std::uint64_t offset, void* buffer, std::size_t bytes) {
    return holds(offset, bytes) ? m_disk->read(m_start + offset, buffer, bytes) : outside();
}

DeviceStatus DiskStretch::write(std::uint64_t offset, const void* buffer, std::size_t bytes) {
    return holds(offset, bytes) ? m_disk->write(m_start + offset, buffer, bytes) : outside();
}

}  // namespace libDrive2
