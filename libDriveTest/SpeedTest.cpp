#include "SpeedTest.h"

#include <algorithm>

#include "DriveTestLogger.h"
#include "Events.h"
#include "Parameters.h"

namespace libDriveTest {

namespace {

/// A transfer holds at most this part of the sectors to test.
constexpr std::uint64_t kTransferShares = 20;
constexpr double kBytesPerMegabyteAndSecond = 1048.576;  ///< bytes a millisecond

}  // namespace

String speedText(double megabytesPerSecond) {
    return zel::format("%.2f MB/s", megabytesPerSecond);
}

double megabytesPerSecond(double bytes, double milliseconds) {
    return bytes / (milliseconds * kBytesPerMegabyteAndSecond);
}

SpeedTest::SpeedTest(Drive& tested, const char* name) : DriveTest(tested), m_logger(loggerOf(name)) {}
SpeedTest::SpeedTest(libDrive2::SharedDrive tested, const char* name)
    : DriveTest(std::move(tested)), m_logger(loggerOf(name)) {}
SpeedTest::~SpeedTest() = default;

SpeedTest::ChunkSizes SpeedTest::planChunks(std::uint64_t sectorsToTest, std::uint32_t chunkBytes) {
    ChunkSizes sizes;
    if (parameters::xferSizeHinting.value()) {
        const std::uint64_t share = sectorsToTest / kTransferShares;
        const std::uint64_t best = std::min<std::uint64_t>(drive->getOptimalRd(0xFFFF), share);
        sizes.hint = static_cast<std::uint16_t>(std::max<std::uint64_t>(1, best));
    }
    const std::uint32_t base = chunkBytes / drive->getSectorSize();
    sizes.sectorsPerChunk = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(std::max<std::uint32_t>(base, sizes.hint), sectorsToTest));
    if (sizes.sectorsPerChunk != 0)
        sizes.fullChunksEnd = sectorsToTest - sectorsToTest % sizes.sectorsPerChunk;
    return sizes;
}

bool SpeedTest::allocateReadBuffer(const ChunkSizes& sizes) {
    blockBytes = bufferBytes(drive->getSectorSize(), sizes.sectorsPerChunk);
    if (blockBytes != 0)
        m_readBuffer = zel::Buffer(blockBytes);
    return blockBytes != 0;
}

std::uint32_t SpeedTest::startChunk(const ChunkSizes& sizes, std::uint64_t done, std::uint64_t lba,
                                    std::uint64_t sectorsToTest) {
    if (done != sizes.fullChunksEnd)
        return sizes.sectorsPerChunk;
    const auto rest = static_cast<std::uint32_t>(sectorsToTest % sizes.sectorsPerChunk);
    m_logger.line(1, "Partial block @", lba, " for ", rest);
    return rest;
}

std::optional<TestResult> SpeedTest::readRange(const ReadPass& pass) {
    const std::uint64_t total = pass.range.sectorsToTest;
    std::uint32_t sectors = 0;
    for (std::uint64_t done = 0; done < total; done += sectors) {
        if (hitEventLimits(true))
            break;
        const std::uint64_t lba = pass.range.startLba + done;
        sectors = startChunk(pass.sizes, done, lba, total);
        if (pass.announcesChunks)
            m_logger.line(1, "Timed read loop optimalReadSectors ", pass.sizes.hint);
        if (!readSectors(lba, sectors, pass.sizes.hint))
            if (const auto ended = endOnNonFail(drive->lastError))
                return ended;
        DiagModule::percentDone(static_cast<int>(done * pass.percentShare / total));
        if (DiagModule::checkForStop()) {
            reportUserAbort(lba);
            return TestResult::USERABORTED;
        }
    }
    return std::nullopt;
}

/// Every chunk starts with an emptied drive cache.
bool SpeedTest::readSectors(std::uint64_t sector, std::uint32_t count, std::uint16_t sectorsPerRead) {
    const std::uint32_t sectorSize = drive->getSectorSize();
    const std::uint32_t fullEnd = count - count % sectorsPerRead;
    m_logger.line(1, zel::formatted("Reading sector %I64u (count: %i)", sector, count));
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_SILENT);
    drive->clearCache();
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
    bool allRead = true;
    std::uint32_t n = sectorsPerRead;
    for (std::uint32_t i = 0; i < count && !hitEventLimits(false); i += n) {
        n = i == fullEnd ? count % sectorsPerRead : sectorsPerRead;
        if (drive->readSector(sector + i, n, m_readBuffer.data() + std::size_t{i} * sectorSize,
                              n * sectorSize))
            continue;
        if (isNonFailError(drive->lastError))
            return false;
        reportRdErr(sector + i, n);
        allRead = false;
    }
    return allRead;
}

SpeedTest::Rate SpeedTest::readRate(double megabytesPerSecond) {
    return {"readRate",
            megabytesPerSecond,
            parameters::readRateThreshold.name(),
            parameters::readRateThreshold.value(),
            *events::readSpeedInfo,
            *events::readSpeedNotReached};
}

void SpeedTest::sendSpeedInfo(const Rate& rate) {
    rate.info.setVariable("speed", speedText(rate.megabytesPerSecond));
    rate.info.setMeasurement(
        {rate.name, rate.megabytesPerSecond, "MB/s", rate.thresholdName, rate.threshold});
    sendEvent(rate.info, EventType::INFORMATIVE);
}

void SpeedTest::checkThreshold(const Rate& rate, TestResult& verdict) {
    if (!(rate.megabytesPerSecond < rate.threshold))
        return;
    const bool warns = parameters::warnOnBelowThreshold.value();
    rate.notReached.setVariable("RequestedSpeed", speedText(rate.threshold))
        ->setVariable("ActualSpeed", speedText(rate.megabytesPerSecond));
    sendEvent(rate.notReached, warns ? EventType::WARNING : EventType::ERR);
    verdict = warns ? TestResult::WARN : TestResult::FAIL;
}

}  // namespace libDriveTest
