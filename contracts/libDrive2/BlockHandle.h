#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "libDrive2/DriveTypes.h"
#include "zel/Export.h"
#include "zel/SharedResource.h"
#include "zel/Words.h"

namespace libDrive2 {

/// How a device operation ended.
struct DeviceStatus {
    _LIBDRIVE2_ERROR_TYPES type = LIBDRIVE2_NO_ERROR;
    zel::Wording text{};  ///< what happened, to what; empty on success

    [[nodiscard]] bool ok() const { return type == LIBDRIVE2_NO_ERROR; }
};

/// What a block device tells of itself. 0 means unknown.
struct BlockDeviceInfo {
    std::uint64_t bytes = 0;
    std::uint32_t logicalSectorBytes = 0;
    std::uint32_t physicalSectorBytes = 0;
    std::uint32_t optimalTransferBytes = 0;
    bool removable = false;
    bool mediumPresent = true;  ///< of one that is not, the sizes mean nothing
    bool writable = false;
};

/// Transport: the operating system's block interface, or a model of it. Offsets and sizes are bytes and
/// multiples of the logical sector size; buffers may have any alignment but are quickest page-aligned.
/// All operations block. Used by one thread at a time.
class DRIVETEST_API BlockHandle {
public:
    virtual ~BlockHandle() = default;

    [[nodiscard]] virtual const BlockDeviceInfo& info() const = 0;
    /// Asks the device again.
    virtual DeviceStatus query() = 0;
    /// All of the bytes or an error; what the buffer holds after an error is undefined.
    virtual DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) = 0;
    /// All of the bytes or an error; which of them reached the device after an error is undefined.
    virtual DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) = 0;
    /// Moves the head where the device can do so alone; otherwise LIBDRIVE2_NOT_SUPPORTED.
    virtual DeviceStatus seek(std::uint64_t /*offset*/) {
        return {LIBDRIVE2_NOT_SUPPORTED, "the device cannot seek without moving data"};
    }
    /// Returns when everything written is durable.
    virtual DeviceStatus flush() = 0;
    /// Drops what the host has cached of the device.
    virtual DeviceStatus dropCache() = 0;
    virtual DeviceStatus eject() { return {LIBDRIVE2_NOT_SUPPORTED, "the device has no tray"}; }
    virtual DeviceStatus load() { return {LIBDRIVE2_NOT_SUPPORTED, "the device has no tray"}; }
    virtual DeviceStatus lockMedium(bool /*lock*/) {
        return {LIBDRIVE2_NOT_SUPPORTED, "the medium cannot be locked in"};
    }
    /// Holds back what the system does by itself with a medium that comes (auto-play), or lets it go. False
    /// where the system has nothing to hold back.
    virtual bool holdAutoRun(bool /*hold*/) { return false; }
    /// Degrees Celsius; nothing where the system does not know.
    virtual std::optional<double> temperature() { return std::nullopt; }
    /// Also to see a medium that has come: a handle that was opened without one, or with another one,
    /// transfers nothing until then.
    virtual DeviceStatus reopen() = 0;
};

using SharedBlockHandle = zel::SharedPointer<BlockHandle>;

}  // namespace libDrive2
