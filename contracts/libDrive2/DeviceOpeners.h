#pragma once

#include <cstdint>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/BlockHandle.h"
#include "libDrive2/NVMeDevice.h"
#include "libDrive2/ScsiPassThrough.h"
#include "zel/Export.h"
#include "zel/Words.h"

namespace quix5 {
class DiagDevice;
}

namespace libDrive2 {

/// Access and sharing modes of the openers; combinable bits.
inline constexpr std::uint32_t kAccessRead = 0x80000000;
inline constexpr std::uint32_t kAccessWrite = 0x40000000;
inline constexpr std::uint32_t kShareRead = 0x1;
inline constexpr std::uint32_t kShareWrite = 0x2;
/// Creation disposition: open only what exists.
inline constexpr std::uint32_t kOpenExisting = 3;

/// Openers turn a locator (the operating system's path of a device, the path of an image file, or
/// "sim:…") into a handle. A failed open gives an empty holder, and lastErrorStr() on the same thread
/// tells why. They may block as long as the operating system's open does.

/// Why the last open on this thread failed: what happened, to what.
DRIVETEST_API zel::Wording lastOpenErrorStr();

struct DRIVETEST_API OsDevice {
    /// The block interface. `flags` must be 0.
    static SharedBlockHandle openOsDevice(const zel::String& locator, std::uint32_t desiredAccess,
                                          std::uint32_t shareMode, std::uint32_t disposition,
                                          std::uint32_t flags);
};

/// A SCSI device found by its device object rather than by its pass-through path.
class DRIVETEST_API ScsiSPCDevice {
public:
    virtual ~ScsiSPCDevice() = default;
    virtual ScsiPassThrough& passThrough() = 0;
};

struct DRIVETEST_API ScsiDevice {
    static SharedScsiPassThrough openScsiDevice(const zel::String& locator, std::uint32_t desiredAccess,
                                                std::uint32_t shareMode);
};

struct DRIVETEST_API ScsiInfo {
    static zel::SharedPointer<ScsiSPCDevice> openScsiDevice(const quix5::DiagDevice& device,
                                                            std::uint32_t flags);
};

struct DRIVETEST_API AtaInfo {
    static SharedAtaDevice openAtaDevice(const quix5::DiagDevice& device, std::uint32_t flags);
};

struct DRIVETEST_API libNVMeInfo {
    static SharedNVMeDevice openDevice(const quix5::DiagDevice& device);
};

}  // namespace libDrive2
