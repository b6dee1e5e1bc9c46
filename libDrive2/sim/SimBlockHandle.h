#pragma once

#include <memory>

#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

/// The block interface of a simulated drive.
class SimBlockHandle : public BlockHandle {
public:
    SimBlockHandle(SimMedium medium, bool writable);

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override { return {}; }
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus seek(std::uint64_t offset) override;
    DeviceStatus flush() override { return m_medium.flush(); }
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override { return {}; }

private:
    SimMedium m_medium;
    BlockDeviceInfo m_info;
};

/// Null when the locator is malformed or its backing file cannot be opened; the reason is kept with
/// noteOpenError().
std::unique_ptr<BlockHandle> openSimBlockDevice(const zel::String& locator, std::uint32_t desiredAccess);

}  // namespace libDrive2
