#include "libDrive2/ScsiMMCDrive.h"

#include <algorithm>
#include <limits>

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "libDrive2/drives/TransferPieces.h"

namespace libDrive2 {

ScsiMMCDrive::ScsiMMCDrive(SharedScsiPassThrough passThrough) : ScsiDrive(std::move(passThrough)) {
    (void)ScsiMMCDrive::doQueryMediumInfo();
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doQueryMediumInfo() {
    DeviceStatus why;
    const auto capacity = ScsiUnit(*passThrough()).capacity(false, why);
    m_sectors = capacity ? capacity->sectors : 0;
    m_sectorBytes = capacity ? capacity->sectorBytes : 0;
    return capacity ? LIBDRIVE2_NO_ERROR
                    : fail(why.type, "asking for the medium's capacity failed: " + why.text);
}

std::uint32_t ScsiMMCDrive::getSectorSize() {
    return m_sectorBytes;
}
std::uint64_t ScsiMMCDrive::getSectorCount() {
    return m_sectors;
}

TransferCut ScsiMMCDrive::cut() const {
    return {m_sectorBytes, wholeSectors(passThrough()->maxTransferBytes(), m_sectorBytes,
                                        std::numeric_limits<std::uint16_t>::max())};
}

std::uint16_t ScsiMMCDrive::getOptimalRd(std::uint16_t limit) {
    return optimalSectors(cut(), limit);
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                                  std::uint32_t /*bufferBytes*/) {
    return transfer({"reading", lba, count}, static_cast<std::uint8_t*>(buffer), cut(),
                    [](std::uint64_t at, std::uint32_t sectors) { return scsi::read(at, sectors, false); });
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                                   std::uint32_t /*bufferBytes*/) {
    // The transport takes one pointer for both directions; a write only reads from it.
    return transfer({"writing", lba, count}, static_cast<std::uint8_t*>(const_cast<void*>(buffer)), cut(),
                    [](std::uint64_t at, std::uint32_t sectors) { return scsi::write(at, sectors, false); });
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doSeekSector(std::uint64_t lba) {
    return perform(scsi::seek(static_cast<std::uint32_t>(lba)), {"seeking to", lba, 1});
}

}  // namespace libDrive2
