#pragma once

#include "libDrive2/MmcTypes.h"
#include "libDrive2/ScsiDrive.h"
#include "zel/Array.h"

namespace libDrive2 {

/// An optical drive (MMC-6). Sectors are those of the loaded medium. Speeds are KB/s, 1 KB = 1000 bytes.
class ScsiMMCDrive : public ScsiDrive {
public:
    explicit ScsiMMCDrive(SharedScsiPassThrough passThrough);

    std::uint32_t getSectorSize() override;
    std::uint64_t getSectorCount() override;
    std::uint16_t getOptimalRd(std::uint16_t limit) override;

    _MMC_PROFILES getCurrentProfile();
    /// Whether the drive has the feature; with `current`, whether it is current for the medium.
    bool hasFeature(std::uint16_t feature, bool current);
    /// Appends at most `maxDescriptors`; `writing` asks for write instead of read performance.
    bool getNominalPerformance(zel::Array<::scsi::mmc_performance_nom_desc_t>& descriptors,
                               std::uint32_t maxDescriptors, bool writing);
    /// SET CD SPEED; 0xFFFF stands for the maximum.
    bool setCDSpeed(std::uint8_t rotationControl, std::uint16_t readSpeed, std::uint16_t writeSpeed);
    bool setStreamingPerformance(::scsi::mmc_performance_desc_t descriptor);
    bool getReadWriteSpeeds(zel::Array<zel_write_speed_desc_t>& descriptors);
    bool setReadWriteSpeed(const zel_write_speed_desc_t& descriptor);
    /// A speed as a multiple of the loaded medium's 1x, such as "16.0".
    zel::String writeSpeedMultiplier(std::uint32_t kilobytesPerSecond);
    /// Blocks until the drive is ready again after writing, polling at the interval; false at the timeout.
    bool waitForWrite(std::uint32_t timeoutMs, std::uint32_t intervalMs);
    bool synchronizeCache(std::uint64_t lba, std::uint32_t count, bool immediate);
    _LIBDRIVE2_ERROR_TYPES blankMedia(BlankType type, bool immediate, std::uint32_t timeoutMs);
    _LIBDRIVE2_ERROR_TYPES formatUnit(bool immediate, std::uint32_t timeoutMs);

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryMediumInfo() override;
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                        std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba) override;

private:
    [[nodiscard]] TransferCut cut() const;

    std::uint64_t m_sectors = 0;
    std::uint32_t m_sectorBytes = 0;
};

}  // namespace libDrive2
