#pragma once

#include <memory>

#include "libDrive2/BlockHandle.h"

namespace libDrive2 {

/// A stretch of a disk as a device of its own.
class DiskStretch : public BlockHandle {
public:
    DiskStretch(std::unique_ptr<BlockHandle> disk, std::uint64_t start, std::uint64_t bytes);

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override;
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus flush() override { return m_disk->flush(); }
    DeviceStatus dropCache() override { return m_disk->dropCache(); }
    DeviceStatus reopen() override;

private:
    /// What must not reach the neighbours.
    [[nodiscard]] bool holds(std::uint64_t offset, std::size_t bytes) const;
    void takeInfo();

    std::unique_ptr<BlockHandle> m_disk;
    std::uint64_t m_start, m_bytes;
    BlockDeviceInfo m_info;
};

}  // namespace libDrive2
