#include "libDrive2/windows/SystemError.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "zel/Words.h"
#include "zel/windows/Utf16.h"
#include "zel/windows/Windows.h"

namespace libDrive2 {

namespace {

using Error = unsigned long;

// Codes of winerror.h that not every set of headers has.
constexpr Error kDeviceFeatureNotSupported = 316;
constexpr Error kDeviceUnreachable = 321;
constexpr Error kDeviceNoResources = 322;
constexpr Error kDataChecksumError = 323;
constexpr Error kOffsetAlignmentViolation = 327;
constexpr Error kNoSuchDevice = 433;
constexpr Error kDeviceHardwareError = 483;
constexpr Error kBitLockerLocked = 0x80310000;  ///< FVE_E_LOCKED_VOLUME

/// Windows' class drivers decode what a drive answers into an NTSTATUS, and the system that into one of
/// these. STATUS_DEVICE_DATA_ERROR, which a bad sector gives, is ERROR_CRC; damage on the way is an error of
/// the device for them, as the drive's own faults are.
constexpr std::pair<Error, _LIBDRIVE2_ERROR_TYPES> kTypes[] = {
    {ERROR_SUCCESS, LIBDRIVE2_NO_ERROR},
    {ERROR_CRC, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_SECTOR_NOT_FOUND, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_SEEK, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_READ_FAULT, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_WRITE_FAULT, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_UNRECOGNIZED_MEDIA, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_FLOPPY_ID_MARK_NOT_FOUND, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_FLOPPY_WRONG_CYLINDER, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_DISK_OPERATION_FAILED, LIBDRIVE2_MEDIA_ERROR},
    {kDataChecksumError, LIBDRIVE2_MEDIA_ERROR},
    {ERROR_IO_DEVICE, LIBDRIVE2_DRIVE_ERROR},
    {ERROR_GEN_FAILURE, LIBDRIVE2_DRIVE_ERROR},
    {kDeviceHardwareError, LIBDRIVE2_DRIVE_ERROR},
    {ERROR_FLOPPY_UNKNOWN_ERROR, LIBDRIVE2_DRIVE_ERROR},
    {ERROR_FLOPPY_BAD_REGISTERS, LIBDRIVE2_DRIVE_ERROR},
    {ERROR_DISK_RECALIBRATE_FAILED, LIBDRIVE2_DRIVE_ERROR},
    {ERROR_DISK_RESET_FAILED, LIBDRIVE2_DRIVE_ERROR},
    {ERROR_ADAP_HDW_ERR, LIBDRIVE2_LINK_ERROR},
    {ERROR_BUS_RESET, LIBDRIVE2_LINK_ERROR},
    {ERROR_OPERATION_ABORTED, LIBDRIVE2_LINK_ERROR},
    {ERROR_REQUEST_ABORTED, LIBDRIVE2_LINK_ERROR},
    {ERROR_SEM_TIMEOUT, LIBDRIVE2_TIMEOUT},
    {ERROR_TIMEOUT, LIBDRIVE2_TIMEOUT},
    {WAIT_TIMEOUT, LIBDRIVE2_TIMEOUT},
    {ERROR_BUSY, LIBDRIVE2_BUSY},
    {ERROR_BUSY_DRIVE, LIBDRIVE2_BUSY},
    {ERROR_SHARING_VIOLATION, LIBDRIVE2_BUSY},
    {ERROR_LOCK_VIOLATION, LIBDRIVE2_BUSY},
    {ERROR_DRIVE_LOCKED, LIBDRIVE2_BUSY},
    {ERROR_DEVICE_IN_USE, LIBDRIVE2_BUSY},
    {ERROR_RETRY, LIBDRIVE2_BUSY},
    {ERROR_NOT_ENOUGH_MEMORY, LIBDRIVE2_BUSY},
    {ERROR_NO_SYSTEM_RESOURCES, LIBDRIVE2_BUSY},
    {ERROR_WORKING_SET_QUOTA, LIBDRIVE2_BUSY},
    {ERROR_NOT_ENOUGH_QUOTA, LIBDRIVE2_BUSY},
    {kDeviceNoResources, LIBDRIVE2_BUSY},
    {ERROR_WRITE_PROTECT, LIBDRIVE2_WRITE_PROTECTED_MEDIUM},
    {ERROR_FILE_READ_ONLY, LIBDRIVE2_WRITE_PROTECTED_DEVICE},
    {ERROR_INVALID_FUNCTION, LIBDRIVE2_NOT_SUPPORTED},
    {ERROR_NOT_SUPPORTED, LIBDRIVE2_NOT_SUPPORTED},
    {ERROR_CALL_NOT_IMPLEMENTED, LIBDRIVE2_NOT_SUPPORTED},
    {kDeviceFeatureNotSupported, LIBDRIVE2_NOT_SUPPORTED},
    {ERROR_INVALID_PARAMETER, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_INVALID_HANDLE, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_NOACCESS, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_INVALID_USER_BUFFER, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_INSUFFICIENT_BUFFER, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_MORE_DATA, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_BAD_LENGTH, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_MAPPED_ALIGNMENT, LIBDRIVE2_BAD_ARGUMENT},
    {kOffsetAlignmentViolation, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_INVALID_NAME, LIBDRIVE2_BAD_ARGUMENT},
    {ERROR_NOT_READY, LIBDRIVE2_NO_ACCESS},
    {ERROR_NO_MEDIA_IN_DRIVE, LIBDRIVE2_NO_ACCESS},
    {ERROR_MEDIA_CHANGED, LIBDRIVE2_NO_ACCESS},
    {ERROR_WRONG_DISK, LIBDRIVE2_NO_ACCESS},
    {ERROR_DEVICE_NOT_CONNECTED, LIBDRIVE2_NO_ACCESS},
    {ERROR_DEVICE_REMOVED, LIBDRIVE2_NO_ACCESS},
    {kDeviceUnreachable, LIBDRIVE2_NO_ACCESS},
    {kNoSuchDevice, LIBDRIVE2_NO_ACCESS},
    {ERROR_DEV_NOT_EXIST, LIBDRIVE2_NO_ACCESS},
    {ERROR_BAD_UNIT, LIBDRIVE2_NO_ACCESS},
    {ERROR_FILE_INVALID, LIBDRIVE2_NO_ACCESS},
    {ERROR_FILE_NOT_FOUND, LIBDRIVE2_NO_ACCESS},
    {ERROR_PATH_NOT_FOUND, LIBDRIVE2_NO_ACCESS},
    {ERROR_ACCESS_DENIED, LIBDRIVE2_NO_ACCESS},
    {ERROR_DISK_FULL, LIBDRIVE2_NO_ACCESS},
    {ERROR_HANDLE_DISK_FULL, LIBDRIVE2_NO_ACCESS},
    {ERROR_HANDLE_EOF, LIBDRIVE2_NO_ACCESS},
    {kBitLockerLocked, LIBDRIVE2_NO_ACCESS},
};

/// What is behind it and what to do, where that is known.
constexpr std::pair<Error, const char*> kAdvice[] = {
    {ERROR_ACCESS_DENIED,
     zel::marked("run as administrator, unless it is set read-only or a mounted volume holds these sectors")},
    {ERROR_SHARING_VIOLATION, zel::marked("another program has it open: close that program")},
    {ERROR_LOCK_VIOLATION, zel::marked("another program has it locked: close that program")},
    {ERROR_DISK_FULL, zel::marked("there is no room left where it is stored: make room there")},
    {ERROR_HANDLE_DISK_FULL, zel::marked("there is no room left where it is stored: make room there")},
    {ERROR_WRITE_PROTECT,
     zel::marked("remove the write protection of the medium, or of the disk in diskpart")},
    {ERROR_NOT_ENOUGH_MEMORY, zel::marked("the system is short of memory: close other programs")},
    {ERROR_NO_SYSTEM_RESOURCES, zel::marked("the system is short of memory: close other programs")},
    {kBitLockerLocked, zel::marked("it is locked by BitLocker: unlock it first")},
};

template <class Meaning, std::size_t Count>
Meaning meaningOf(Error error, const std::pair<Error, Meaning> (&table)[Count], Meaning otherwise) {
    const auto* const row = std::ranges::find(table, error, &std::pair<Error, Meaning>::first);
    return row != std::end(table) ? row->second : otherwise;
}

}  // namespace

/// What is not listed says nothing of the sectors either.
_LIBDRIVE2_ERROR_TYPES errorTypeOf(unsigned long systemError) {
    return meaningOf(systemError, kTypes, LIBDRIVE2_NO_ACCESS);
}

DeviceStatus systemStatus(unsigned long systemError) {
    if (systemError == ERROR_SUCCESS)
        return {};
    const zel::Wording reason =
        zel::systemMessage(systemError) + " (" + zel::String::number(systemError) + ")";
    const char* const advice = meaningOf<const char*>(systemError, kAdvice, nullptr);
    return {errorTypeOf(systemError),
            advice == nullptr
                ? reason
                : zel::worded("{reason}; {advice}", {{"reason", reason}, {"advice", zel::worded(advice)}})};
}

DeviceStatus lastSystemStatus() {
    const Error error = GetLastError();
    // A call that failed without a reason has failed all the same.
    return systemStatus(error != ERROR_SUCCESS ? error : Error{ERROR_GEN_FAILURE});
}

DeviceStatus partlyTransferred(std::size_t moved, std::size_t asked) {
    return {LIBDRIVE2_LINK_ERROR,
            zel::worded("only {done} of {n} bytes were transferred", {{"done", moved}, {"n", asked}})};
}

DeviceStatus notReopened() {
    return {LIBDRIVE2_NO_ACCESS, zel::worded("it could not be opened again")};
}

bool meansNoMedium(unsigned long systemError) {
    return systemError == ERROR_NOT_READY || systemError == ERROR_NO_MEDIA_IN_DRIVE;
}

}  // namespace libDrive2
