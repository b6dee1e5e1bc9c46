#include "libDrive2/ScsiMMCDrive.h"

#include <algorithm>
#include <limits>

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/MmcMedia.h"
#include "libDrive2/drives/MmcUnit.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "libDrive2/drives/TransferPieces.h"
#include "zel/Clock.h"
#include "zel/Format.h"
#include "zel/Log.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// Of every medium but CDs with other tracks than data.
constexpr std::uint32_t kSectorBytes = 2048;
/// The first write to a medium calibrates the laser and writes the lead-in: a minute or two, in which a drive
/// lets the command wait, or takes it and refuses others.
constexpr std::uint32_t kWriteMs = 240000;
constexpr std::uint32_t kFullCachePollMs = 10;
/// SEEK(10) and READ(12) address sectors with 32 bits.
constexpr std::uint64_t kLbaLimit = std::uint64_t{1} << 32;

}  // namespace

ScsiMMCDrive::ScsiMMCDrive(SharedScsiPassThrough passThrough, std::uint32_t family)
    : ScsiDrive(std::move(passThrough)), m_family(family) {
    (void)ScsiMMCDrive::doQueryMediumInfo();
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doQueryMediumInfo() {
    m_readsStreaming.reset();
    m_isCalibrated = false;
    DeviceStatus why;
    const auto capacity = ScsiUnit(*passThrough()).capacity(false, why);
    m_sectors = capacity ? capacity->sectors : 0;
    m_sectorBytes = capacity ? capacity->sectorBytes : 0;
    if (m_sectors > 1)
        return LIBDRIVE2_NO_ERROR;
    // Of a medium without a recording drives tell one sector, or none.
    const auto disc = MmcUnit(*passThrough()).discInformation();
    if (disc && (!capacity || disc->status == mmc::DiscStatus::blank)) {
        m_sectors = 0;
        m_sectorBytes = kSectorBytes;
    }
    return disc || capacity ? LIBDRIVE2_NO_ERROR
                            : fail(why.type, zel::worded("asking for the medium's capacity failed: {reason}",
                                                         {{"reason", why.text}}));
}

std::uint32_t ScsiMMCDrive::getSectorSize() {
    return m_sectorBytes;
}
std::uint64_t ScsiMMCDrive::getSectorCount() {
    return m_sectors;
}

bool ScsiMMCDrive::isMediaPresent() {
    switch (ScsiUnit(*passThrough()).readiness()) {
        case ScsiUnit::Readiness::ready:
            return true;
        case ScsiUnit::Readiness::failed: {
            const auto event = MmcUnit(*passThrough()).mediaEvent();
            return event && event->present && !event->trayOpen;
        }
        default:
            return false;
    }
}

bool ScsiMMCDrive::isMediaCorrect() {
    return ScsiDrive::isMediaPresent() && takesProfile(getCurrentProfile());
}

bool ScsiMMCDrive::takesProfile(_MMC_PROFILES profile) {
    const std::uint32_t capabilities = mmc::mediaKind(profile).capabilities;
    return (m_family == 0 ? capabilities : capabilities & m_family) != 0;
}

LIBDRIVE2_MEDIA_STATE ScsiMMCDrive::mediaState() {
    if (isMediaLoading())
        return LIBDRIVE2_MEDIA_BUSY;
    return Drive::mediaState();
}

std::uint32_t ScsiMMCDrive::mediaCapabilties() {
    const _MMC_PROFILES profile = getCurrentProfile();
    std::uint32_t capabilities = mmc::mediaKind(profile).capabilities;
    if ((capabilities & kMediaCD) != 0)
        for (const mmc::TocTrack& track : MmcUnit(*passThrough()).tracks())
            capabilities |= track.isData ? kMediaCDData : kMediaCDAudio;
    return isWriteProtected(profile) ? capabilities | kMediaWriteProtected : capabilities;
}

bool ScsiMMCDrive::isWriteProtected(_MMC_PROFILES profile) {
    MmcUnit unit(*passThrough());
    const mmc::MediaKind kind = mmc::mediaKind(profile);
    if (kind.isWriteOnce) {
        const auto disc = unit.discInformation();
        if (disc && disc->status == mmc::DiscStatus::complete)
            return true;
    }
    const auto feature = unit.feature(mmc::kFeatureWriteProtect);
    return feature && feature->current && unit.isWriteProtected(kind.capabilities == kMediaBD);
}

std::uint32_t ScsiMMCDrive::supportedCapabilties() {
    std::uint32_t capabilities = 0;
    if (const auto list = MmcUnit(*passThrough()).feature(mmc::kFeatureProfileList))
        for (const std::uint16_t profile : mmc::profilesOf(*list))
            capabilities |= mmc::mediaKind(profile).capabilities;
    return capabilities;
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::availability() {
    constexpr std::uint8_t kStatusBusy = 0x08;  // SAM-5
    if (lastError == LIBDRIVE2_NO_ACCESS || lastError == LIBDRIVE2_BUSY)
        return lastError;
    const ScsiResponse response = passThrough()->execute(scsi::testUnitReady());
    if (response.delivery.type == LIBDRIVE2_NO_ACCESS || response.delivery.type == LIBDRIVE2_TIMEOUT)
        return lastError = fail(LIBDRIVE2_NO_ACCESS, zel::worded("the drive does not answer: {reason}",
                                                                 {{"reason", response.delivery.text}}));
    if (response.delivery.ok() && response.status == kStatusBusy)
        return lastError = fail(LIBDRIVE2_BUSY, zel::worded("the drive is busy"));
    return LIBDRIVE2_NO_ERROR;
}

_MMC_PROFILES ScsiMMCDrive::getCurrentProfile() {
    return MmcUnit(*passThrough()).currentProfile();
}

bool ScsiMMCDrive::hasFeature(std::uint16_t feature, bool current) {
    const auto found = MmcUnit(*passThrough()).feature(feature);
    return found && (found->current || !current);
}

TransferCut ScsiMMCDrive::cut() const {
    return {m_sectorBytes, wholeSectors(passThrough()->maxTransferBytes(), m_sectorBytes,
                                        std::numeric_limits<std::uint16_t>::max())};
}

std::uint16_t ScsiMMCDrive::getOptimalRd(std::uint16_t limit) {
    return optimalSectors(cut(), limit);
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                                  std::uint32_t bufferBytes) {
    const auto error = transfer({kReading, lba, count}, static_cast<std::uint8_t*>(buffer), cut(),
                                [this](std::uint64_t at, std::uint32_t sectors) {
                                    return scsi::read(at, sectors, m_forcesUnitAccess);
                                });
    if (error != LIBDRIVE2_NOT_SUPPORTED || !m_forcesUnitAccess)
        return error;
    zel::LogFactory::createLogger("libDrive2.ScsiMMCDrive")
        .line(3, "the drive refuses reads that come from the medium alone; it may answer from its cache");
    m_forcesUnitAccess = false;
    return doReadSector(lba, count, buffer, bufferBytes);
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doReadStreaming(std::uint64_t lba, std::uint32_t count, void* buffer,
                                                     std::uint32_t bufferBytes) {
    if (!m_readsStreaming)
        m_readsStreaming = hasFeature(mmc::kFeatureRealTimeStreaming, true);
    // READ(12) has no room for LBAs beyond 32 bits.
    if (!*m_readsStreaming || lba > kLbaLimit - count)
        return doReadSector(lba, count, buffer, bufferBytes);
    const auto error = transfer({kReading, lba, count}, static_cast<std::uint8_t*>(buffer), cut(),
                                [](std::uint64_t at, std::uint32_t sectors) {
                                    return mmc::readStreaming(static_cast<std::uint32_t>(at), sectors);
                                });
    if (error != LIBDRIVE2_NOT_SUPPORTED)
        return error;
    m_readsStreaming = false;
    return doReadSector(lba, count, buffer, bufferBytes);
}

/// Commands of one write follow each other only as the drive takes them: a sequential medium takes each
/// sector once.
_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                                   std::uint32_t /*bufferBytes*/) {
    // The transport takes one pointer for both directions; a write only reads from it.
    auto* data = static_cast<std::uint8_t*>(const_cast<void*>(buffer));
    if (!m_isCalibrated)
        noteGettingReady();
    const TransferCut pieces = cut();
    auto error = LIBDRIVE2_NO_ERROR;
    while (count > 0 && error == LIBDRIVE2_NO_ERROR) {
        const std::uint32_t sectors = std::min(count, pieces.maxSectors);
        error = writePiece(lba, sectors, data);
        lba += sectors;
        count -= sectors;
        data += std::size_t{sectors} * pieces.sectorBytes;
    }
    m_isCalibrated = m_isCalibrated || error == LIBDRIVE2_NO_ERROR;
    return error;
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::writePiece(std::uint64_t lba, std::uint32_t count, std::uint8_t* data) {
    const zel::Stopwatch watch;
    _LIBDRIVE2_ERROR_TYPES error{};
    while (true) {
        error = transfer({kWriting, lba, count}, data, cut(), [](std::uint64_t at, std::uint32_t sectors) {
            ScsiRequest request = scsi::write(at, sectors, false);
            request.timeoutMs = kWriteMs;
            return request;
        });
        if (error != LIBDRIVE2_BUSY || watch.elapsedMilliseconds() >= kWriteMs)
            return error;
        zel::System::mssleep(kFullCachePollMs);
    }
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::doSeekSector(std::uint64_t lba) {
    if (lba >= kLbaLimit)
        return fail(LIBDRIVE2_BAD_ARGUMENT,
                    zel::format("sector %u lies beyond the end of any optical medium", lba));
    const auto error = perform(scsi::seek(static_cast<std::uint32_t>(lba)), {kSeeking, lba, 1});
    // Without the VERIFY of disks, which few optical drives know.
    // NOLINTNEXTLINE(bugprone-parent-virtual-call)
    return error == LIBDRIVE2_NOT_SUPPORTED ? Drive::doSeekSector(lba) : error;
}

}  // namespace libDrive2
