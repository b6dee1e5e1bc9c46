#include "ReadWriteSpeedTest.h"

#include <algorithm>
#include <cstring>
#include <random>

#include "Events.h"
#include "Parameters.h"
#include "RangeSetup.h"
#include "RangeString.h"
#include "zel/Clock.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "ReadWriteSpeedTest";
constexpr std::uint32_t kReadChunkBytes = 2097152;
constexpr std::uint32_t kWriteChunkBytes = 33554432;
/// Reads and writes are half of the work each.
constexpr std::uint64_t kPhasePercent = 50;

/// Of two ranges that may overlap.
std::uint64_t differentSectors(const RangePlan& a, const RangePlan& b) {
    const std::uint64_t first = std::max(a.startLba, b.startLba);
    const std::uint64_t end = std::min(a.endLba, b.endLba);
    return a.sectorsToTest + b.sectorsToTest - (end > first ? end - first : 0);
}

}  // namespace

/// The working values of the write phase.
struct ReadWriteSpeedTest::WritePass {
    RangePlan range;
    ChunkSizes sizes;
    std::uint64_t chunks = 0;  ///< begun so far, those that were skipped included
    double writeAvg = 0.0;     ///< milliseconds of a full chunk
};

ReadWriteSpeedTest::ReadWriteSpeedTest(Drive& tested)
    : SpeedTest(tested, kName), m_backup(*this, m_logger, m_behaviors) {}
ReadWriteSpeedTest::ReadWriteSpeedTest(libDrive2::SharedDrive tested)
    : SpeedTest(std::move(tested), kName), m_backup(*this, m_logger, m_behaviors) {}
ReadWriteSpeedTest::~ReadWriteSpeedTest() = default;

void ReadWriteSpeedTest::init(Test& test) {
    DriveTest::init(test);
    test.setDestructive(true);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::writeStartRange.addTo(test);
    parameters::writeEndRange.addTo(test);
    parameters::readRateThreshold.addTo(test);
    parameters::writeRateThreshold.addTo(test);
    parameters::warnOnBelowThreshold.addTo(test);
    parameters::preserveData.addTo(test);
    initWriteTest();
    for (SharedEvent* event : {&events::readSpeedInfo, &events::writeSpeedInfo, &events::readSpeedNotReached,
                               &events::writeSpeedNotReached})
        event->createOnce();
    strings::rwSpeedTestInformationMessage.createOnce();
}

bool ReadWriteSpeedTest::parseRangeParam(const SharedParameter<String>& given, const RangePlan& plan,
                                         std::uint64_t& lba) {
    if (parseRangeString(given.value(), plan.sectorCount, plan.sectorSize, lba))
        return true;
    reportInvalidParameters(m_logger, {given.item()});
    return false;
}

/// All four texts are read before the first pair is checked.
TestResult ReadWriteSpeedTest::setUpRanges(RangePlan& reads, RangePlan& writes) {
    using namespace parameters;
    if (const TestResult found = setUpDrive(reads); found != TestResult::PASS)
        return found;
    writes = reads;
    if (!parseRangeParam(startRange, reads, reads.startLba) ||
        !parseRangeParam(endRange, reads, reads.endLba) ||
        !parseRangeParam(writeStartRange, writes, writes.startLba) ||
        !parseRangeParam(writeEndRange, writes, writes.endLba))
        return TestResult::BADPARAMS;
    const TestResult checked = RangeSetup(m_logger).check({startRange, endRange}, reads);
    if (checked != TestResult::PASS)
        return checked;
    return RangeSetup(m_logger).check({writeStartRange, writeEndRange}, writes);
}

TestResult ReadWriteSpeedTest::runTest() {
    const zel::TraceLogger trace(m_logger, "ReadWriteSpeedTest::Run");
    ReadPass reads;
    RangePlan writes;
    if (const TestResult setUp = setUpRanges(reads.range, writes); setUp != TestResult::PASS)
        return setUp;
    reads.sizes = planChunks(reads.range.sectorsToTest, kReadChunkBytes);
    reads.percentShare = kPhasePercent;
    reads.announcesChunks = true;
    if (parameters::readRateThreshold.value() == 0.0 || parameters::writeRateThreshold.value() == 0.0)
        return reportInvalidParameters(
            m_logger, {parameters::writeRateThreshold.item(), parameters::readRateThreshold.item()});
    if (!allocateReadBuffer(reads.sizes))
        return TestResult::INTERNALERROR;
    logParameters(reads, writes);
    setupPattern(std::size_t{reads.sizes.hint} * reads.range.sectorSize);
    drive->planSectors(differentSectors(reads.range, writes));
    double readRate = 0;
    double writeRate = 0;
    if (const auto ended = measureReads(reads, readRate))
        return *ended;
    if (const auto ended = measureWrites(writes, writeRate))
        return *ended;
    return sendRates(readRate, writeRate);
}

void ReadWriteSpeedTest::logParameters(const ReadPass& reads, const RangePlan& writes) const {
    zel::Logger& log = m_logger;
    log.line(1, "=== ReadWriteSpeedTest parameters ===");
    log.line(1, " Test Percent Req.      ", 100);
    log.line(1, " Sectors To Test:       ", reads.range.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", reads.range.startLba);
    log.line(1, " Last LBA:  (exclusive) ", reads.range.endLba);
    log.line(1, " Write Start LBA: (inclusive) ", writes.startLba);
    log.line(1, " Write Last LBA:  (exclusive) ", writes.endLba);
    log.line(1, " Divisor:               ", 1);
    log.line(1, " Disk has Sectors:      ", reads.range.sectorCount);
    log.line(1, " Sector Size:           ", reads.range.sectorSize);
    log.line(1, " Sectors per Op:        ", reads.sizes.hint);
    log.line(1, " Read Threshold (MB/s): ", speedText(parameters::readRateThreshold.value()));
    log.line(1, " Write Threshold (MB/s):", speedText(parameters::writeRateThreshold.value()));
    log.line(1, " Partial Chunk @        ", reads.sizes.fullChunksEnd);
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

void ReadWriteSpeedTest::setupPattern(std::size_t bytes) {
    m_pattern = zel::Buffer(bytes);
    std::mt19937 generator{std::random_device()()};
    std::uniform_int_distribution<std::uint64_t> draw;
    for (std::size_t at = 0; at < bytes; at += sizeof(std::uint64_t)) {
        const std::uint64_t value = draw(generator);
        std::memcpy(m_pattern.data() + at, &value, std::min(sizeof value, bytes - at));
    }
}

std::optional<TestResult> ReadWriteSpeedTest::measureReads(const ReadPass& pass, double& rate) {
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_SILENT);
    drive->streamingTransfers = true;
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
    const zel::Stopwatch watch;
    if (const auto ended = readRange(pass))
        return ended;
    const TestResult counted = getEventCountResult();
    if (counted != TestResult::PASS)
        return counted;
    const auto bytes = static_cast<double>(pass.range.sectorsToTest * pass.range.sectorSize);
    rate = megabytesPerSecond(bytes, watch.elapsedMilliseconds());
    return std::nullopt;
}

std::optional<TestResult> ReadWriteSpeedTest::measureWrites(const RangePlan& range, double& rate) {
    WritePass pass{range, planChunks(range.sectorsToTest, kWriteChunkBytes)};
    if (!allocateReadBuffer(pass.sizes))
        return TestResult::INTERNALERROR;
    m_backup.release();
    if (parameters::preserveData.value()) {
        m_backup.allocate(blockBytes);
        m_backup.setSectorsPerTransfer(pass.sizes.hint);
    }
    setupPattern(std::size_t{pass.sizes.hint} * range.sectorSize);
    if (parameters::preserveData.value() && !drive->expectWrites(m_pattern.data(), m_pattern.size()))
        return endOnNonFail(drive->lastError).value_or(TestResult::CANNOTRUN);
    if (const auto ended = writeRange(pass))
        return ended;
    const TestResult counted = getEventCountResult();
    if (counted != TestResult::PASS)
        return counted;
    rate = megabytesPerSecond(
        static_cast<double>(std::uint64_t{range.sectorSize} * pass.sizes.sectorsPerChunk), pass.writeAvg);
    return std::nullopt;
}

std::optional<TestResult> ReadWriteSpeedTest::writeRange(WritePass& pass) {
    std::uint32_t sectors = 0;
    for (std::uint64_t done = 0; done < pass.range.sectorsToTest; done += sectors, ++pass.chunks) {
        if (hitEventLimits(true))
            break;
        const std::uint64_t lba = pass.range.startLba + done;
        sectors = startChunk(pass.sizes, done, lba, pass.range.sectorsToTest);
        if (const auto ended = writeChunk(pass, lba, done, sectors))
            return ended;
    }
    return std::nullopt;
}

std::optional<TestResult> ReadWriteSpeedTest::writeChunk(WritePass& pass, std::uint64_t lba,
                                                         std::uint64_t done, std::uint32_t sectors) {
    drive->visitSectors(lba, sectors);
    // What could not be saved is not overwritten.
    if (parameters::preserveData.value() && !m_backup.backupSectors(lba, sectors))
        return skipChunk(pass, lba, done, sectors);
    const auto ended = testSavedChunk(pass, lba, done, sectors);
    m_backup.leave(lba, sectors);
    return ended;
}

std::optional<TestResult> ReadWriteSpeedTest::skipChunk(const WritePass& pass, std::uint64_t lba,
                                                        std::uint64_t done, std::uint32_t sectors) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return ended;
    m_backup.nameUnreadable(lba, sectors);
    showProgress(pass, done);
    if (!DiagModule::checkForStop())
        return std::nullopt;
    reportUserAbort(lba);
    return TestResult::USERABORTED;
}

void ReadWriteSpeedTest::showProgress(const WritePass& pass, std::uint64_t done) {
    DiagModule::percentDone(
        static_cast<int>(kPhasePercent + done * kPhasePercent / pass.range.sectorsToTest));
}

std::optional<TestResult> ReadWriteSpeedTest::testSavedChunk(WritePass& pass, std::uint64_t lba,
                                                             std::uint64_t done, std::uint32_t sectors) {
    if (const auto ended = timeChunk(pass, lba, done, sectors)) {
        drive->skipSectors(lba, sectors);
        return ended;
    }
    showProgress(pass, done);
    if (DiagModule::checkForStop()) {
        reportUserAbort(lba);
        const auto lost = restoreChunk(lba, sectors);
        return lost ? *lost : TestResult(TestResult::USERABORTED);
    }
    if (const auto lost = restoreChunk(lba, sectors))
        return lost;
    if (!DiagModule::checkForStop())
        return std::nullopt;
    reportUserAbort(lba);
    return TestResult::USERABORTED;
}

std::optional<TestResult> ReadWriteSpeedTest::timeChunk(WritePass& pass, std::uint64_t lba,
                                                        std::uint64_t done, std::uint32_t sectors) {
    const zel::Stopwatch watch;
    m_logger.line(1, "Timed write loop");
    if (!writePattern(lba, sectors, pass.sizes.hint, m_pattern.data())) {
        if (const auto ended = endOnNonFail(drive->lastError))
            return ended;
        if (!hitEventLimits(true))
            return std::nullopt;
        const auto lost = restoreChunk(lba, sectors);
        return lost ? *lost : getEventCountResult();
    }
    m_logger.line(1, "writeAvg : ", zel::ZELValue(pass.writeAvg).text());
    // The partial chunk says nothing of a full one's time.
    if (done != pass.sizes.fullChunksEnd) {
        const auto before = static_cast<double>(pass.chunks);
        pass.writeAvg = (watch.elapsedMilliseconds() + before * pass.writeAvg) / (before + 1);
    }
    return std::nullopt;
}

/// Writes from the start of the pattern each time; the flush is part of the write.
bool ReadWriteSpeedTest::writePattern(std::uint64_t sector, std::uint32_t count, std::uint16_t sectorsPerOp,
                                      const void* pattern) {
    const std::uint32_t sectorSize = drive->getSectorSize();
    const std::uint32_t fullEnd = count - count % sectorsPerOp;
    bool allWritten = true;
    std::uint32_t n = sectorsPerOp;
    for (std::uint32_t i = 0; i < count && !hitEventLimits(false); i += n) {
        n = i == fullEnd ? count % sectorsPerOp : sectorsPerOp;
        const bool written = drive->writeSector(sector + i, n, pattern, n * sectorSize);
        m_backup.noteWritten();
        if (written)
            continue;
        if (isNonFailError(drive->lastError))
            return false;
        reportWrErr(sector + i, n);
        allWritten = false;
    }
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_SILENT);
    drive->flushCache();
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
    return allWritten;
}

std::optional<TestResult> ReadWriteSpeedTest::restoreChunk(std::uint64_t lba, std::uint32_t sectors) {
    _LIBDRIVE2_ERROR_TYPES errorType = libDrive2::LIBDRIVE2_NO_ERROR;
    if (m_backup.restoreSectors(lba, sectors, errorType))
        return std::nullopt;
    return getCurrentResult(errorType);
}

TestResult ReadWriteSpeedTest::sendRates(double readRate, double writeRate) {
    TestResult verdict = TestResult::PASS;
    const Rate write{"writeRate",
                     writeRate,
                     parameters::writeRateThreshold.name(),
                     parameters::writeRateThreshold.value(),
                     *events::writeSpeedInfo,
                     *events::writeSpeedNotReached};
    const Rate read = SpeedTest::readRate(readRate);
    sendSpeedInfo(write);
    sendSpeedInfo(read);
    checkThreshold(write, verdict);
    checkThreshold(read, verdict);
    return verdict;
}

}  // namespace libDriveTest
