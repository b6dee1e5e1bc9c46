#include "libDrive2/UFIFloppyDrive.h"

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/commands/UfiCommands.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

constexpr std::uint16_t kFormatCapacitiesBytes = 12;

/// The drive knows commands of 12 bytes only.
class UfiPassThrough : public ScsiPassThrough {
public:
    explicit UfiPassThrough(SharedScsiPassThrough device) : m_device(std::move(device)) {}

    ScsiResponse execute(const ScsiRequest& request) override {
        return m_device->execute(ufi::padded(request));
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_device->maxTransferBytes(); }
    DeviceStatus reopen() override { return m_device->reopen(); }
    bool holdAutoRun(bool hold) override { return m_device->holdAutoRun(hold); }

private:
    SharedScsiPassThrough m_device;
};

}  // namespace

UFIFloppyDrive::UFIFloppyDrive(SharedScsiPassThrough passThrough)
    : ScsiSBCDrive(SharedScsiPassThrough(std::make_unique<UfiPassThrough>(std::move(passThrough)))) {
    (void)UFIFloppyDrive::doQueryMediumInfo();
}

bool UFIFloppyDrive::isMediaRemovable() {
    return true;
}

_LIBDRIVE2_ERROR_TYPES UFIFloppyDrive::doQueryMediumInfo() {
    std::uint8_t answer[kFormatCapacitiesBytes] = {};
    const scsi::Outcome outcome =
        ScsiUnit(*passThrough())
            .execute(scsi::withData(ufi::readFormatCapacities(sizeof answer), answer, sizeof answer));
    const auto found = outcome.status.ok()
                           ? ufi::parseFormatCapacities(slice(answer, 0, outcome.transferredBytes))
                           : std::nullopt;
    if (!found)
        return ScsiSBCDrive::doQueryMediumInfo();
    using Medium = ufi::FormatCapacity::Medium;
    if (found->medium == Medium::formatted) {
        setCapacity(found->capacity.sectors, found->capacity.sectorBytes, found->capacity.sectorBytes);
        return LIBDRIVE2_NO_ERROR;
    }
    setCapacity(0, 0, 0);
    return found->medium == Medium::none
               ? fail(LIBDRIVE2_NO_ACCESS, zel::worded("there is no floppy in the drive"))
               : fail(LIBDRIVE2_MEDIA_ERROR, "the floppy is not formatted: format it first");
}

}  // namespace libDrive2
