#include "libDrive2/commands/ScsiSenseText.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "libDrive2/commands/ScsiSense.h"

namespace libDrive2::scsi {

namespace {

// The sense keys of SPC-4, table 43.
constexpr std::array<const char*, 16> kKeyTexts = {
    "no sense",       "recovered error", "not ready",      "medium error",
    "hardware error", "illegal request", "unit attention", "data protect",
    "blank check",    "vendor specific", "copy aborted",   "aborted command",
    "reserved",       "volume overflow", "miscompare",     "completed",
};

struct CodeText {
    std::uint8_t code;
    std::uint8_t qualifier;
    const char* text;
};

/// Additional sense codes that disks, floppies and optical drives give (SPC-4 annex F), in order. A
/// qualifier that is not listed has the text of qualifier 0.
constexpr CodeText kCodeTexts[] = {
    {0x00, 0x1D, "ATA pass-through information available"},
    {0x02, 0x00, "no seek complete"},
    {0x03, 0x00, "peripheral device write fault"},
    {0x04, 0x00, "logical unit not ready"},
    {0x04, 0x01, "in process of becoming ready"},
    {0x04, 0x02, "initializing command required"},
    {0x04, 0x03, "manual intervention required"},
    {0x04, 0x04, "format in progress"},
    {0x04, 0x07, "operation in progress"},
    {0x04, 0x08, "long write in progress"},
    {0x04, 0x09, "self-test in progress"},
    {0x04, 0x12, "logical unit offline"},
    {0x04, 0x1B, "sanitize in progress"},
    {0x05, 0x00, "logical unit does not respond to selection"},
    {0x06, 0x00, "no reference position found"},
    {0x08, 0x00, "logical unit communication failure"},
    {0x09, 0x00, "track following error"},
    {0x0B, 0x00, "warning"},
    {0x0B, 0x01, "warning, temperature exceeded"},
    {0x0C, 0x00, "write error"},
    {0x0C, 0x02, "write error, auto reallocation failed"},
    {0x0C, 0x07, "write error, recovery needed"},
    {0x0C, 0x08, "write error, recovery failed"},
    {0x0C, 0x09, "write error, loss of streaming"},
    {0x10, 0x00, "ID CRC or ECC error"},
    {0x10, 0x01, "protection information: logical block guard check failed"},
    {0x10, 0x02, "protection information: logical block application tag check failed"},
    {0x10, 0x03, "protection information: logical block reference tag check failed"},
    {0x10, 0x04, "protection information: logical block protection error on recover buffered data"},
    {0x10, 0x05, "protection information: logical block protection method error"},
    {0x11, 0x00, "unrecovered read error"},
    {0x11, 0x01, "read retries exhausted"},
    {0x11, 0x02, "error too long to correct"},
    {0x11, 0x04, "unrecovered read error, auto reallocation failed"},
    {0x11, 0x05, "L-EC uncorrectable error"},
    {0x11, 0x06, "CIRC unrecovered error"},
    {0x11, 0x0F, "error reading UPC or EAN number"},
    {0x11, 0x14, "read error, LBA marked bad by application client"},
    {0x12, 0x00, "address mark not found for ID field"},
    {0x13, 0x00, "address mark not found for data field"},
    {0x14, 0x00, "recorded entity not found"},
    {0x15, 0x00, "random positioning error"},
    {0x15, 0x01, "mechanical positioning error"},
    {0x16, 0x00, "data synchronization mark error"},
    {0x17, 0x00, "recovered data with no error correction applied"},
    {0x17, 0x01, "recovered data with retries"},
    {0x18, 0x00, "recovered data with error correction applied"},
    {0x18, 0x01, "recovered data with error correction and retries"},
    {0x18, 0x02, "recovered data, data auto-reallocated"},
    {0x1A, 0x00, "parameter list length error"},
    {0x1B, 0x00, "synchronous data transfer error"},
    {0x1D, 0x00, "miscompare during verify operation"},
    {0x20, 0x00, "invalid command operation code"},
    {0x21, 0x00, "logical block address out of range"},
    {0x21, 0x02, "invalid address for write"},
    {0x24, 0x00, "invalid field in CDB"},
    {0x25, 0x00, "logical unit not supported"},
    {0x26, 0x00, "invalid field in parameter list"},
    {0x27, 0x00, "write protected"},
    {0x27, 0x01, "hardware write protected"},
    {0x27, 0x02, "logical unit software write protected"},
    {0x28, 0x00, "the medium may have changed"},
    {0x29, 0x00, "power on, reset, or bus device reset occurred"},
    {0x2A, 0x00, "parameters changed"},
    {0x2A, 0x09, "capacity data has changed"},
    {0x2C, 0x00, "command sequence error"},
    {0x30, 0x00, "incompatible medium installed"},
    {0x30, 0x01, "cannot read medium, unknown format"},
    {0x30, 0x02, "cannot read medium, incompatible format"},
    {0x30, 0x05, "cannot write medium, incompatible format"},
    {0x31, 0x00, "medium format corrupted"},
    {0x31, 0x01, "format command failed"},
    {0x32, 0x00, "no defect spare location available"},
    {0x3A, 0x00, "medium not present"},
    {0x3A, 0x01, "medium not present, tray closed"},
    {0x3A, 0x02, "medium not present, tray open"},
    {0x3E, 0x00, "logical unit has not self-configured yet"},
    {0x3E, 0x01, "logical unit failure"},
    {0x3E, 0x02, "timeout on logical unit"},
    {0x3F, 0x00, "target operating conditions have changed"},
    {0x40, 0x00, "diagnostic failure on component"},
    {0x44, 0x00, "internal target failure"},
    {0x47, 0x00, "SCSI parity error"},
    {0x47, 0x03, "information unit CRC error"},
    {0x48, 0x00, "initiator detected error message received"},
    {0x4B, 0x00, "data phase error"},
    {0x4C, 0x00, "logical unit failed self-configuration"},
    {0x53, 0x00, "media load or eject failed"},
    {0x53, 0x02, "medium removal prevented"},
    {0x57, 0x00, "unable to recover table of contents"},
    {0x5D, 0x00, "failure prediction threshold exceeded"},
    {0x5D, 0xFF, "failure prediction threshold exceeded (false alarm)"},
    {0x63, 0x00, "end of user area encountered on this track"},
    {0x64, 0x00, "illegal mode for this track"},
    {0x6F, 0x00, "copy protection key exchange failure"},
    {0x72, 0x00, "session fixation error"},
    {0x73, 0x00, "CD control error"},
    {0x73, 0x03, "power calibration area error"},
    {0x74, 0x00, "security error"},
};

/// Null for a code that is not listed.
const char* codeText(std::uint8_t code, std::uint8_t qualifier) {
    for (const std::uint8_t wanted : {qualifier, std::uint8_t{0}}) {
        const auto* const found =
            std::find_if(std::begin(kCodeTexts), std::end(kCodeTexts),
                         [&](const CodeText& row) { return row.code == code && row.qualifier == wanted; });
        if (found != std::end(kCodeTexts))
            return found->text;
    }
    return nullptr;
}

}  // namespace

std::string hexByte(std::uint8_t value) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    return {kDigits[value >> 4], kDigits[value & 0xF]};
}

std::string describe(const Sense& sense) {
    std::string text = kKeyTexts[sense.key & 0x0F];
    if (const char* const detail = codeText(sense.code, sense.qualifier); detail != nullptr)
        text.append(", ").append(detail);
    if (sense.information)
        text += " at sector " + std::to_string(*sense.information);
    return text + " (sense " + hexByte(sense.key) + "/" + hexByte(sense.code) + "/" +
           hexByte(sense.qualifier) + ")";
}

}  // namespace libDrive2::scsi
