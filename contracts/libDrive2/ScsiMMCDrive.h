#pragma once

#include <optional>

#include "libDrive2/MmcTypes.h"
#include "libDrive2/ScsiDrive.h"
#include "zel/Array.h"
#include "zel/Export.h"

namespace libDrive2 {

/// An optical drive (MMC-6). Sectors are those of the loaded medium; one without a recording has none, but
/// for what it is asked to write. Speeds are KB/s, 1 KB = 1000 bytes, as the drive states them: those of CDs
/// count whole 2352-byte sectors. Operations that return a bool or an error type set lastError, too.
class DRIVETEST_API ScsiMMCDrive : public ScsiDrive {
public:
    /// `family` are the MediaCapability flags of the media that the drive is for; 0 for all that it can use.
    explicit ScsiMMCDrive(SharedScsiPassThrough passThrough, std::uint32_t family = 0);

    std::uint32_t getSectorSize() override;
    std::uint64_t getSectorCount() override;
    std::uint16_t getOptimalRd(std::uint16_t limit) override;
    /// A medium that the drive cannot use is present, too, but not correct.
    bool isMediaPresent() override;
    /// Whether the medium is ready, and one that this class is for.
    bool isMediaCorrect() override;
    LIBDRIVE2_MEDIA_STATE mediaState() override;
    /// A write-once medium that is closed counts as write-protected: it takes nothing more.
    std::uint32_t mediaCapabilties() override;
    std::uint32_t supportedCapabilties() override;

    /// Whether the drive takes commands, whatever it says of its medium: LIBDRIVE2_BUSY while it takes none,
    /// LIBDRIVE2_NO_ACCESS when it is gone or silent. Asks the drive, unless lastError says that already, and
    /// sets lastError when it does not.
    _LIBDRIVE2_ERROR_TYPES availability();
    /// kProfileNone without a medium, or with one that the drive cannot use.
    _MMC_PROFILES getCurrentProfile();
    /// Whether the drive has the feature; with `current`, whether it is current for the medium.
    bool hasFeature(std::uint16_t feature, bool current);
    /// Appends at most `maxDescriptors`; `writing` asks for write instead of read performance.
    bool getNominalPerformance(zel::Array<::scsi::mmc_performance_nom_desc_t>& descriptors,
                               std::uint32_t maxDescriptors, bool writing);
    /// SET CD SPEED; 0xFFFF stands for the maximum.
    bool setCDSpeed(std::uint8_t rotationControl, std::uint16_t readSpeed, std::uint16_t writeSpeed);
    bool setStreamingPerformance(::scsi::mmc_performance_desc_t descriptor);
    /// Replaces the array's content. Of a drive that does not know the command for it, or tells none, those
    /// that its mode page 2Ah lists; one of 0xFFFFFFFF when there are none.
    bool getReadWriteSpeeds(zel::Array<zel_write_speed_desc_t>& descriptors);
    /// SET STREAMING over the whole medium, else SET CD SPEED; a drive that takes neither keeps to its own
    /// speed, which is logged. False only when it cannot be reached.
    bool setReadWriteSpeed(const zel_write_speed_desc_t& descriptor);
    /// Undoes setReadWriteSpeed(), where the drive knows how.
    void restoreDefaultSpeed();
    /// A speed as a multiple of the loaded medium's 1x, such as "16.0"; "0.0" when that is unknown.
    zel::String writeSpeedMultiplier(std::uint32_t kilobytesPerSecond);
    /// Reads from now on come from the medium, not from the drive's cache. Of a drive that refuses such reads
    /// they come from where they did, which is logged.
    void readFromMedium() { m_forcesUnitAccess = true; }
    /// Blocks until the drive is ready again after writing, polling at the interval; false at the timeout.
    bool waitForWrite(std::uint32_t timeoutMs, std::uint32_t intervalMs);
    /// `immediate` returns before the cache is empty: wait for the drive then. A count that one command
    /// cannot hold reaches through the last sector.
    bool synchronizeCache(std::uint64_t lba, std::uint32_t count, bool immediate);
    /// Both return when the medium is done, or LIBDRIVE2_TIMEOUT. `immediate` keeps the drive answering
    /// meanwhile: it is polled instead of waited for.
    _LIBDRIVE2_ERROR_TYPES blankMedia(BlankType type, bool immediate, std::uint32_t timeoutMs);
    /// LIBDRIVE2_NOT_SUPPORTED when the drive offers no format of the whole medium. A format of a DVD+RW that
    /// was interrupted is taken up again; once begun, it goes on in the background.
    _LIBDRIVE2_ERROR_TYPES formatUnit(bool immediate, std::uint32_t timeoutMs);

protected:
    _LIBDRIVE2_ERROR_TYPES doQueryMediumInfo() override;
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                        std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doReadStreaming(std::uint64_t lba, std::uint32_t count, void* buffer,
                                           std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t bufferBytes) override;
    _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba) override;

    /// Whether media of the profile are what the class is for.
    virtual bool takesProfile(_MMC_PROFILES profile);
    /// Polls until the drive is no longer busy; `what` begins the text of a failure.
    _LIBDRIVE2_ERROR_TYPES waitWhileBusy(const char* what, std::uint32_t timeoutMs, std::uint32_t intervalMs);
    /// Sends a command with its parameters. The drive's verdict counts: it checks them, and bridges state how
    /// much of them was transferred as they please.
    _LIBDRIVE2_ERROR_TYPES sendParameters(ScsiRequest request, void* parameters, std::size_t bytes,
                                          const char* what);
    /// Keeps the error as the last one; true for none.
    bool succeeded(_LIBDRIVE2_ERROR_TYPES error);

private:
    [[nodiscard]] TransferCut cut() const;
    _LIBDRIVE2_ERROR_TYPES writePiece(std::uint64_t lba, std::uint32_t count, std::uint8_t* data);
    [[nodiscard]] bool isWriteProtected(_MMC_PROFILES profile);

    std::uint32_t m_family;
    std::uint64_t m_sectors = 0;
    std::uint32_t m_sectorBytes = 0;
    std::optional<bool> m_readsStreaming;  ///< asked when it matters
    bool m_forcesUnitAccess = false;
    bool m_isCalibrated = false;  ///< the laser, for writing
};

}  // namespace libDrive2
