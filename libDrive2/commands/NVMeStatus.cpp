#include <algorithm>
#include <iterator>

#include "libDrive2/commands/NVMeCommands.h"
#include "libDrive2/commands/ScsiSenseText.h"

namespace libDrive2::nvme {

namespace {

struct StatusRow {
    std::uint16_t code;  ///< status code type in bits 10:8, status code in bits 7:0
    _LIBDRIVE2_ERROR_TYPES cause;
    const char* text;
};

/// NVM Express 1.4, 4.6.1. A code that is not listed is an error of the drive, or by its type of the path.
constexpr StatusRow kRows[] = {
    {0x001, LIBDRIVE2_NOT_SUPPORTED, "invalid command opcode"},
    {0x002, LIBDRIVE2_NOT_SUPPORTED, "invalid field in command"},
    {0x004, LIBDRIVE2_LINK_ERROR, "data transfer error"},
    {0x005, LIBDRIVE2_NO_ACCESS, "aborted, power is being lost"},
    {0x006, LIBDRIVE2_DRIVE_ERROR, "internal error"},
    {0x007, LIBDRIVE2_TIMEOUT, "the command was aborted"},
    {0x008, LIBDRIVE2_NO_ACCESS, "aborted, the queue was deleted"},
    {0x00B, LIBDRIVE2_NO_ACCESS, "there is no such namespace"},
    {0x00C, LIBDRIVE2_BAD_ARGUMENT, "command sequence error"},
    {0x015, LIBDRIVE2_NO_ACCESS, "operation denied"},
    {0x01D, LIBDRIVE2_BUSY, "sanitize in progress"},
    {0x020, LIBDRIVE2_WRITE_PROTECTED_MEDIUM, "the namespace is write-protected"},
    {0x021, LIBDRIVE2_BUSY, "the command was interrupted"},
    {0x022, LIBDRIVE2_LINK_ERROR, "transient transport error"},
    {0x080, LIBDRIVE2_BAD_ARGUMENT, "sectors beyond the end of the namespace"},
    {0x081, LIBDRIVE2_DRIVE_ERROR, "capacity exceeded"},
    {0x082, LIBDRIVE2_BUSY, "the namespace is not ready"},
    {0x083, LIBDRIVE2_BUSY, "reserved by another host"},
    {0x084, LIBDRIVE2_BUSY, "format in progress"},
    {0x109, LIBDRIVE2_NOT_SUPPORTED, "invalid log page"},
    {0x182, LIBDRIVE2_WRITE_PROTECTED_DEVICE, "attempted write to a read-only range"},
    {0x280, LIBDRIVE2_MEDIA_ERROR, "write fault"},
    {0x281, LIBDRIVE2_MEDIA_ERROR, "unrecovered read error"},
    {0x282, LIBDRIVE2_MEDIA_ERROR, "end-to-end guard check error"},
    {0x283, LIBDRIVE2_MEDIA_ERROR, "end-to-end application tag check error"},
    {0x284, LIBDRIVE2_MEDIA_ERROR, "end-to-end reference tag check error"},
    {0x285, LIBDRIVE2_MEDIA_ERROR, "compare failure"},
    {0x286, LIBDRIVE2_NO_ACCESS, "access denied; the drive may be locked"},
    {0x287, LIBDRIVE2_MEDIA_ERROR, "deallocated or unwritten sector"},
    {0x371, LIBDRIVE2_NO_ACCESS, "the system gave the command up: the drive was lost or took too long"},
};

constexpr std::uint16_t kCodeMask = 0x7FF;
constexpr std::uint16_t kPathRelated = 0x3;

}  // namespace

DeviceStatus statusOf(const NVMeResponse& response) {
    if (!response.delivery.ok() || (response.status & kCodeMask) == 0)
        return response.delivery;
    const auto code = static_cast<std::uint16_t>(response.status & kCodeMask);
    const std::string number = " (status " + scsi::hexByte(static_cast<std::uint8_t>(code >> 8)) + "/" +
                               scsi::hexByte(static_cast<std::uint8_t>(code & 0xFF)) + ")";
    const auto* const row = std::find_if(std::begin(kRows), std::end(kRows),
                                         [code](const StatusRow& known) { return known.code == code; });
    if (row != std::end(kRows))
        return {row->cause, row->text + number};
    if (code >> 8 == kPathRelated)
        return {LIBDRIVE2_NO_ACCESS, "there is no path to the drive" + number};
    return {LIBDRIVE2_DRIVE_ERROR, "the drive reported an error" + number};
}

}  // namespace libDrive2::nvme
