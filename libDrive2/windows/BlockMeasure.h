#pragma once

#include <cstdint>
#include <functional>

#include "libDrive2/BlockHandle.h"
#include "zel/windows/Windows.h"

namespace libDrive2 {

/// What Windows' drivers tell of a device beneath an open handle. Every answer may be missing.
class BlockMeasure {
public:
    explicit BlockMeasure(HANDLE device) : m_device(device) {}

    /// ERROR_SUCCESS when a medium is in it and has not changed, or where the driver knows of no media.
    [[nodiscard]] DWORD checkMedium() const;
    /// Whether the device itself cannot be reached any more.
    [[nodiscard]] bool isGone() const;
    [[nodiscard]] bool hasMedium() const;
    [[nodiscard]] bool isWriteProtected() const;
    /// Whether its medium can be taken out; `otherwise` where no driver tells.
    [[nodiscard]] bool isRemovable(bool otherwise) const;
    /// Sizes, and whether a medium is there and can be taken out. `exists` reads the sector at an offset; it
    /// is asked where no driver knows the size.
    DeviceStatus measure(BlockDeviceInfo& info, const std::function<bool(std::uint64_t)>& exists) const;

private:
    [[nodiscard]] DeviceStatus askBytes(BlockDeviceInfo& info,
                                        const std::function<bool(std::uint64_t)>& exists) const;

    HANDLE m_device;
};

/// The end of what can be read, in bytes, for sectors of this size; 0 where there is none to find.
std::uint64_t findEnd(std::uint32_t sectorBytes, const std::function<bool(std::uint64_t)>& exists);

}  // namespace libDrive2
