#include "libDrive2/commands/AtaCommands.h"

#include "libDrive2/commands/ScsiSenseText.h"

namespace libDrive2::ata {

namespace {

// Status and error register bits of ACS-4, clause 6.
constexpr std::uint8_t kStatusError = 0x01;
constexpr std::uint8_t kStatusDeviceFault = 0x20;
constexpr std::uint8_t kStatusBusy = 0x80;
constexpr std::uint8_t kErrorAborted = 0x04;
constexpr std::uint8_t kErrorIdNotFound = 0x10;
constexpr std::uint8_t kErrorUncorrectable = 0x40;
constexpr std::uint8_t kErrorInterfaceCrc = 0x80;

std::string registersOf(const AtaResponse& response) {
    return " (status " + scsi::hexByte(response.status) + "h, error " + scsi::hexByte(response.error) + "h)";
}

DeviceStatus statusOfError(const AtaResponse& response) {
    const std::string registers = registersOf(response);
    // An aborted command has its reason in another bit where there is one: look at those first.
    if ((response.error & kErrorInterfaceCrc) != 0)
        return {LIBDRIVE2_LINK_ERROR, "CRC error between drive and host; check the cable" + registers};
    if ((response.error & kErrorUncorrectable) != 0)
        return {LIBDRIVE2_MEDIA_ERROR,
                "uncorrectable data at sector " + std::to_string(response.lba) + registers};
    if ((response.error & kErrorIdNotFound) != 0)
        return {LIBDRIVE2_MEDIA_ERROR,
                "sector " + std::to_string(response.lba) + " was not found" + registers};
    if ((response.error & kErrorAborted) != 0)
        return {LIBDRIVE2_DRIVE_ERROR, "the drive aborted the command" + registers};
    return {LIBDRIVE2_DRIVE_ERROR, "the drive reported an error" + registers};
}

}  // namespace

DeviceStatus statusOf(const AtaResponse& response) {
    if (!response.delivery.ok())
        return response.delivery;
    // While BSY is set the other bits mean nothing.
    if ((response.status & kStatusBusy) != 0)
        return {LIBDRIVE2_BUSY, "the drive is busy" + registersOf(response)};
    if ((response.status & kStatusDeviceFault) != 0)
        return {LIBDRIVE2_DRIVE_ERROR, "device fault" + registersOf(response)};
    return (response.status & kStatusError) != 0 ? statusOfError(response) : DeviceStatus{};
}

}  // namespace libDrive2::ata
