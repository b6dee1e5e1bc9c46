#pragma once

#include <cstdint>

namespace libDrive2 {

/// The kind of error of the last drive operation.
enum _LIBDRIVE2_ERROR_TYPES : std::uint32_t {  // NOLINT(bugprone-reserved-identifier)
    LIBDRIVE2_NO_ERROR = 0,
    LIBDRIVE2_NOT_SUPPORTED = 1,  ///< the device does not know the operation
    LIBDRIVE2_MEDIA_ERROR = 2,    ///< sectors that cannot be read or written
    LIBDRIVE2_DRIVE_ERROR = 3,    ///< the drive itself failed (hardware, firmware)
    LIBDRIVE2_LINK_ERROR = 4,     ///< data damaged or lost between drive and host (CRC, transport)
    LIBDRIVE2_BAD_ARGUMENT = 5,   ///< beyond the end of the medium, or a buffer too small
    LIBDRIVE2_WRITE_PROTECTED_MEDIUM = 6,
    LIBDRIVE2_WRITE_PROTECTED_DEVICE = 7,  ///< opened read-only, or a read-only device
    LIBDRIVE2_BUSY = 8,                    ///< in use, not ready for now
    /// gone, or cannot be reached; also no room left beneath a drive that is stored in a file
    LIBDRIVE2_NO_ACCESS = 9,
    LIBDRIVE2_TIMEOUT = 10,
};

/// Sectors that follow each other.
struct SectorSpan {
    std::uint64_t lba = 0;
    std::uint64_t count = 0;

    bool operator==(const SectorSpan&) const = default;
};

/// What is known of the medium.
enum LIBDRIVE2_MEDIA_STATE : std::uint32_t {
    LIBDRIVE2_MEDIA_NONE = 0,
    LIBDRIVE2_MEDIA_CORRECT = 1,
    LIBDRIVE2_MEDIA_BUSY = 2,
    LIBDRIVE2_MEDIA_INCORRECT = 3,
    LIBDRIVE2_MEDIA_NOT_OPENED = 4,
};

/// How the layer treats errors on their way to the callback. The values are sets of bits:
/// 0 is silent and tries once; 3 reports and leaves retrying to the isolation of single sectors; 7 does all.
enum _LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR : std::uint32_t {  // NOLINT(bugprone-reserved-identifier)
    LIBDRIVE2_SILENT = 0,
    LIBDRIVE2_REPORT_ADVANCED = 1,   ///< report errors of the drive itself (DriveNotification::advancedError)
    LIBDRIVE2_REPORT_RECOVERED = 2,  ///< report recovered errors (DriveNotification::recoveredError)
    LIBDRIVE2_REPORT_ONLY = 3,
    LIBDRIVE2_RETRY = 4,  ///< repeat failed transfers up to the retry count
    LIBDRIVE2_RETRY_AND_REPORT = 7,
};

/// Flags of mediaCapabilties() and supportedCapabilties().
enum MediaCapability : std::uint32_t {
    kMediaHardDrive = 0x1,
    kMediaOther = 0x2,
    kMediaWriteProtected = 0x4,
    kMediaCD = 0x20000,
    kMediaCDAudio = 0x40000,  ///< both content flags: a CD with audio and data
    kMediaCDData = 0x80000,
    kMediaDVD = 0x100000,
    kMediaDVDRAM = 0x200000,
    kMediaBD = 0x2000000,
    kMediaHDDVD = 0x4000000,
};

}  // namespace libDrive2
