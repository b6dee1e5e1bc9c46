#pragma once

#include <memory>

#include "libDrive2/ScsiDrive.h"
#include "zel/Export.h"

namespace libDrive2 {

namespace scsi {
struct Capacity;
}

/// A SCSI block-command device object, wrapped around a primary-command one.
class DRIVETEST_API ScsiSBCDevice {
public:
    virtual ~ScsiSBCDevice() = default;
    virtual ScsiPassThrough& passThrough() = 0;
};

/// A disk through SCSI block commands (SBC-3) alone. A transfer that is repeated after a failure bypasses the
/// drive's cache where the drive can (FUA).
class DRIVETEST_API ScsiSBCDrive : public ScsiDrive {
public:
    explicit ScsiSBCDrive(SharedScsiPassThrough passThrough);
    explicit ScsiSBCDrive(zel::SharedPointer<ScsiSBCDevice> device);

    std::uint32_t getSectorSize() override;
    std::uint64_t getSectorCount() override;
    std::uint32_t getPhysicalSectorSize() override;
    std::uint16_t getOptimalRd(std::uint16_t limit) override;
    std::uint16_t getOptimalWr(std::uint16_t limit) override;
    std::unique_ptr<TemperatureAccessor> getTemperatureAccessor() override;

    /// Whether writes can be forced to the medium (force unit access).
    [[nodiscard]] bool supportsFUA() const;

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryMediumInfo() override;
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                        std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t bufferBytes) override;

    void setCapacity(std::uint64_t sectors, std::uint32_t sectorBytes, std::uint32_t physicalSectorBytes);

private:
    [[nodiscard]] TransferCut cut() const;
    void queryLimits();
    [[nodiscard]] bool refusesPlainReads(const scsi::Capacity& capacity);

    std::uint64_t m_sectors = 0;
    std::uint32_t m_sectorBytes = 0;
    std::uint32_t m_physicalSectorBytes = 0;
    std::uint32_t m_maxTransferSectors = 0;  ///< of one command, by the device's own limit; 0 none
    bool m_supportsForceUnitAccess = false;
};

}  // namespace libDrive2
