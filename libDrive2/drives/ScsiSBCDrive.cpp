#include "libDrive2/ScsiSBCDrive.h"

#include <algorithm>
#include <limits>

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "libDrive2/drives/TransferPieces.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// From SPC-3 on units answer questions about pages and READ CAPACITY(16) in an orderly way; older ones, and
/// USB sticks that claim less, may hang.
constexpr std::uint8_t kVersionSpc3 = 5;

/// The pass-through path of a block-command device object, which it keeps alive.
class DevicePassThrough : public ScsiPassThrough {
public:
    explicit DevicePassThrough(zel::SharedPointer<ScsiSBCDevice> device) : m_device(std::move(device)) {}

    ScsiResponse execute(const ScsiRequest& request) override {
        return m_device->passThrough().execute(request);
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override {
        return m_device->passThrough().maxTransferBytes();
    }
    [[nodiscard]] unsigned maxInFlight() const override { return m_device->passThrough().maxInFlight(); }
    DeviceStatus reopen() override { return m_device->passThrough().reopen(); }
    bool holdAutoRun(bool hold) override { return m_device->passThrough().holdAutoRun(hold); }

private:
    zel::SharedPointer<ScsiSBCDevice> m_device;
};

}  // namespace

ScsiSBCDrive::ScsiSBCDrive(SharedScsiPassThrough passThrough) : ScsiDrive(std::move(passThrough)) {
    (void)ScsiSBCDrive::doQueryMediumInfo();
}

ScsiSBCDrive::ScsiSBCDrive(zel::SharedPointer<ScsiSBCDevice> device)
    : ScsiSBCDrive(SharedScsiPassThrough(std::make_unique<DevicePassThrough>(std::move(device)))) {}

_LIBDRIVE2_ERROR_TYPES ScsiSBCDrive::doQueryMediumInfo() {
    ScsiUnit unit(*passThrough());
    const auto inquiry = unit.inquiry();
    DeviceStatus why;
    const auto capacity = unit.capacity(inquiry && inquiry->version >= kVersionSpc3, why);
    if (!capacity) {
        setCapacity(0, 0, 0);
        return fail(why.type,
                    zel::worded("asking for the drive's capacity failed: {reason}", {{"reason", why.text}}));
    }
    if (capacity->protectionType != 0 && refusesPlainReads(*capacity)) {
        setCapacity(0, 0, 0);
        return fail(
            LIBDRIVE2_NOT_SUPPORTED,
            zel::worded("the drive is formatted with protection information of type {n}, and refuses the "
                        "commands that leave it out: format it without, or test it where it is used",
                        {{"n", capacity->protectionType}}));
    }
    setCapacity(capacity->sectors, capacity->sectorBytes, capacity->physicalSectorBytes);
    const auto parameters = unit.modeParameters();
    m_supportsForceUnitAccess = parameters && parameters->supportsForceUnitAccess;
    if (inquiry && inquiry->version >= kVersionSpc3)
        queryLimits();
    return LIBDRIVE2_NO_ERROR;
}

/// Reads and writes leave the drive to make and check its protection information by itself. Of type 2 many
/// take only commands of 32 bytes, which name what is to be checked.
bool ScsiSBCDrive::refusesPlainReads(const scsi::Capacity& capacity) {
    std::vector<std::uint8_t> sector(capacity.sectorBytes);
    const scsi::Outcome outcome = ScsiUnit(*passThrough())
                                      .execute(scsi::withData(scsi::read(capacity.sectors - 1, 1, false),
                                                              sector.data(), sector.size()));
    return outcome.status.type == LIBDRIVE2_NOT_SUPPORTED;
}

void ScsiSBCDrive::queryLimits() {
    const auto limits = ScsiUnit(*passThrough()).blockLimits();
    m_maxTransferSectors = limits ? limits->maximumTransfer : 0;
}

void ScsiSBCDrive::setCapacity(std::uint64_t sectors, std::uint32_t sectorBytes,
                               std::uint32_t physicalSectorBytes) {
    m_sectors = sectors;
    m_sectorBytes = sectorBytes;
    m_physicalSectorBytes = physicalSectorBytes;
}

std::uint32_t ScsiSBCDrive::getSectorSize() {
    return m_sectorBytes;
}
std::uint64_t ScsiSBCDrive::getSectorCount() {
    return m_sectors;
}
std::uint32_t ScsiSBCDrive::getPhysicalSectorSize() {
    return std::max(m_physicalSectorBytes, m_sectorBytes);
}

TransferCut ScsiSBCDrive::cut() const {
    const std::uint32_t limit =
        m_maxTransferSectors != 0 ? m_maxTransferSectors : std::numeric_limits<std::uint32_t>::max();
    return {m_sectorBytes, wholeSectors(passThrough()->maxTransferBytes(), m_sectorBytes, limit),
            passThrough()->maxInFlight()};
}

std::uint16_t ScsiSBCDrive::getOptimalRd(std::uint16_t limit) {
    return optimalSectors(cut(), limit);
}
std::uint16_t ScsiSBCDrive::getOptimalWr(std::uint16_t limit) {
    return getOptimalRd(limit);
}

std::unique_ptr<TemperatureAccessor> ScsiSBCDrive::getTemperatureAccessor() {
    return scsiTemperature(passThrough());
}

bool ScsiSBCDrive::supportsFUA() const {
    return m_supportsForceUnitAccess;
}

_LIBDRIVE2_ERROR_TYPES ScsiSBCDrive::doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                                  std::uint32_t /*bufferBytes*/) {
    const bool forced = isRepeat() && m_supportsForceUnitAccess;
    return transfer(
        {kReading, lba, count}, static_cast<std::uint8_t*>(buffer), cut(),
        [forced](std::uint64_t at, std::uint32_t sectors) { return scsi::read(at, sectors, forced); });
}

_LIBDRIVE2_ERROR_TYPES ScsiSBCDrive::doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                                   std::uint32_t /*bufferBytes*/) {
    const bool forced = isRepeat() && m_supportsForceUnitAccess;
    // The transport takes one pointer for both directions; a write only reads from it.
    return transfer(
        {kWriting, lba, count}, static_cast<std::uint8_t*>(const_cast<void*>(buffer)), cut(),
        [forced](std::uint64_t at, std::uint32_t sectors) { return scsi::write(at, sectors, forced); });
}

}  // namespace libDrive2
