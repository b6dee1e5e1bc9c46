#include "PatternWriteTest.h"

#include <cstring>

#include "ChunkSequence.h"
#include "DriveTestLogger.h"
#include "Events.h"
#include "TimeLimit.h"

namespace libDriveTest {

PatternWriteTest::PatternWriteTest(Drive& tested, const char* name)
    : DriveTest(tested), m_logger(loggerOf(name)), m_backup(*this, m_logger, m_behaviors) {}

PatternWriteTest::PatternWriteTest(libDrive2::SharedDrive tested, const char* name)
    : DriveTest(std::move(tested)), m_logger(loggerOf(name)), m_backup(*this, m_logger, m_behaviors) {}

PatternWriteTest::~PatternWriteTest() = default;

void PatternWriteTest::allocateBuffers(const Pass& pass) {
    m_readBuffer = zel::Buffer(blockBytes);
    m_backup.release();
    if (pass.preserve)
        m_backup.allocate(blockBytes);
}

void PatternWriteTest::allocatePatterns() {
    m_patterns = zel::Buffer(std::size_t{patternCount} * blockBytes);
    m_stamp = libDrive2::AddressStamp();
    const std::uint32_t sectorBytes = drive->getSectorSize();
    // For the journal one stands for all.
    for (std::uint32_t at = 0; stampsAddresses && at + sectorBytes <= blockBytes; at += sectorBytes)
        m_stamp.fill(0, {getPattern(patternCount - 1) + at, sectorBytes});
}

std::uint8_t* PatternWriteTest::getPattern(std::uint32_t index) {
    return m_patterns.data() + std::size_t{index} * (m_patterns.size() / patternCount);
}

bool PatternWriteTest::verifyPattern(std::uint32_t index, const void* data, std::uint32_t length) {
    return std::memcmp(getPattern(index), data, length) == 0;
}

void PatternWriteTest::stampChunk(const Pass& pass, std::uint64_t lba) {
    std::uint8_t* const block = getPattern(patternCount - 1);
    for (std::uint32_t i = 0; i < pass.blocks; ++i)
        m_stamp.fill(lba + i, {block + std::size_t{i} * pass.range.sectorSize, pass.range.sectorSize});
}

bool PatternWriteTest::writePattern(std::uint64_t sector, std::uint16_t count, std::uint32_t index,
                                    bool isolate) {
    const bool written = drive->writeSector(sector, count, getPattern(index), drive->getSectorSize() * count);
    m_backup.noteWritten();
    if (written)
        return true;
    if (isNonFailError(drive->lastError))
        return false;
    m_logger.line(4, zel::formatted("Write sector %I64u (count:  %i) failed: ", sector, count));
    if (count < 2 || !isolate) {
        reportWrErr(sector, count);
        return false;
    }
    return writeSingly(sector, count, index);
}

/// But for stamps the block is uniform: each sector is written from its start.
bool PatternWriteTest::writeSingly(std::uint64_t sector, std::uint16_t count, std::uint32_t index) {
    const std::size_t step = isStamp(index) ? drive->getSectorSize() : 0;
    const String errorText = drive->getLastErrorStr();
    drive->setRetryCallbackBehavior(m_behaviors.isolation);
    bool allWritten = true;
    for (std::uint64_t s = sector; s < sector + count; ++s) {
        if (drive->writeSector(s, 1, getPattern(index) + (s - sector) * step, drive->getSectorSize()))
            continue;
        // Both ways out of here leave the isolation behaviour in force.
        if (isNonFailError(drive->lastError))
            return false;
        reportWrErr(s);
        allWritten = false;
        if (hitEventLimits(false))
            return false;
    }
    drive->setRetryCallbackBehavior(m_behaviors.normal);
    if (!allWritten)
        return false;
    m_logger.line(4,
                  zel::formatted("Unable to isolate individual sectors in the range %I64u through %I64u, "
                                 "original error message: ",
                                 sector, sector + count - 1),
                  errorText);
    reportIsolationRecover(sector, count, errorText);
    return true;
}

TestResult PatternWriteTest::testChunks(Pass& pass) {
    const RangePlan& range = pass.range;
    if (pass.preserve && !drive->expectWrites(m_patterns.data(), m_patterns.size()))
        return endOnNonFail(drive->lastError).value_or(TestResult::CANNOTRUN);
    m_behaviors.normal = chunkBehavior(pass.blocks, pass.isolate);
    drive->setRetryCallbackBehavior(m_behaviors.normal);
    drive->planSectors(range.sectorsToTest);
    const TimeLimit time;
    ChunkSequence sequence(range.sectorsToTest, pass.blocks, kSpreadRunBytes / range.sectorSize,
                           time.isSet());
    std::uint64_t done = 0;
    if (const TestResult skipped = skipDone(m_logger, sequence, done); skipped != TestResult::PASS)
        return skipped;
    for (auto i = sequence.next(); i; i = sequence.next(), done += pass.blocks) {
        if (hitEventLimits(true) || time.isUp())
            break;
        const std::uint64_t lba = *i * pass.divisor + range.startLba;
        m_logger.line(1, "Testing LBA ", lba, " of ", range.endLba - 1, " (", pass.blocks,
                      " sectors at a time) Percent: ", done, "/", range.sectorsToTest, " [",
                      done * 100 / range.sectorsToTest, "]");
        if (*i == pass.fullChunksEnd)
            startPartialChunk(pass, lba);
        if (const auto ended = testChunk(pass, lba, done))
            return *ended;
        drive->settleSectors(done + pass.blocks, errorCount);
    }
    return getEventCountResult();
}

void PatternWriteTest::startPartialChunk(Pass& pass, std::uint64_t lba) {
    pass.blocks = static_cast<std::uint16_t>(pass.range.sectorsToTest % pass.blocks);
    blockBytes = pass.range.sectorSize * pass.blocks;
    m_logger.line(1, "Partial block @", lba, " for ", pass.blocks);
    // For the rest of the run: narrowing goes back to it, too.
    m_behaviors.normal = libDrive2::LIBDRIVE2_RETRY_AND_REPORT;
    drive->setRetryCallbackBehavior(m_behaviors.normal);
}

std::optional<TestResult> PatternWriteTest::testChunk(const Pass& pass, std::uint64_t lba,
                                                      std::uint64_t done) {
    // What could not be saved is not overwritten.
    if (pass.preserve && !m_backup.backupSectors(lba, pass.blocks))
        return skipChunk(pass, lba, done);
    m_logger.line(1, "Reading... ", lba);
    auto ended = applyPatterns(pass, lba, done);
    // What ends in the middle was not tried with all that was to be tried.
    if (ended)
        drive->skipSectors(lba, pass.blocks);
    else
        ended = restoreChunk(pass, lba);
    m_backup.leave(lba, pass.blocks);
    if (ended)
        return ended;
    if (!DiagModule::checkForStop())
        return std::nullopt;
    reportUserAbort(lba);
    return TestResult::USERABORTED;
}

std::optional<TestResult> PatternWriteTest::skipChunk(const Pass& pass, std::uint64_t lba,
                                                      std::uint64_t done) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return ended;
    m_backup.nameUnreadable(lba, pass.blocks);
    DiagModule::percentDone(static_cast<int>(done * 100 / pass.range.sectorsToTest));
    if (!DiagModule::checkForStop())
        return std::nullopt;
    reportUserAbort(lba);
    return TestResult::USERABORTED;
}

/// Progress counts a pattern that was read back as one sector's share, whatever the chunk's size.
std::optional<TestResult> PatternWriteTest::applyPatterns(const Pass& pass, std::uint64_t lba,
                                                          std::uint64_t done) {
    const std::uint64_t totalWork = patternCount * pass.range.sectorsToTest;
    std::uint64_t progress = std::uint64_t{100} * patternCount * done;
    for (std::uint32_t p = 0; p < patternCount; ++p) {
        m_logger.line(1, zel::formatted(" * LBA %I64u  Pattern #%i", lba, p));
        const Turn turn = applyPattern(pass, lba, p, progress);
        if (turn.ended || turn.leavesChunk)
            return turn.ended;
        DiagModule::percentDone(static_cast<int>(progress / totalWork));
        if (const auto ended = stopIfAsked(pass, lba))
            return ended;
    }
    return std::nullopt;
}

PatternWriteTest::Turn PatternWriteTest::applyPattern(const Pass& pass, std::uint64_t lba,
                                                      std::uint32_t index, std::uint64_t& progress) {
    if (isStamp(index))
        stampChunk(pass, lba);
    if (!pass.verifyOnly && !writePattern(lba, pass.blocks, index, pass.isolate))
        return handleWriteFailure(pass, lba);
    progress += 100;
    if (!drive->readSector(lba, pass.blocks, m_readBuffer.data(), blockBytes))
        return handleReadFailure(pass, lba, index);
    if (verifyPattern(index, m_readBuffer.data(), bytesToCompare(pass)))
        return {};
    return reportMismatch(pass, lba, index);
}

/// The end that the event names is one past the chunk's last sector.
PatternWriteTest::Turn PatternWriteTest::reportMismatch(const Pass& pass, std::uint64_t lba,
                                                        std::uint32_t index) {
    condemnDifferences(lba, pass.blocks, getPattern(index), m_readBuffer.data());
    events::patternMismatchRange->setVariable("sector", lba)->setVariable("end_sector", lba + pass.blocks);
    sendEvent(*events::patternMismatchRange, EventType::ERR);
    return {restoreChunk(pass, lba)};
}

PatternWriteTest::Turn PatternWriteTest::handleWriteFailure(const Pass& pass, std::uint64_t lba) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return {ended};
    // Else the next pattern, without reading this one back.
    if (!hitEventLimits(true))
        return {};
    const auto lost = restoreChunk(pass, lba);
    return {lost ? *lost : getEventCountResult()};
}

PatternWriteTest::Turn PatternWriteTest::handleReadFailure(const Pass& pass, std::uint64_t lba,
                                                           std::uint32_t index) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return {ended};
    if (pass.blocks >= 2 && drive->isMedium() && pass.isolate)
        return narrow(pass, lba, index);
    reportRdErr(lba, pass.blocks);
    return {restoreChunk(pass, lba), true};
}

PatternWriteTest::Turn PatternWriteTest::narrow(const Pass& pass, std::uint64_t lba, std::uint32_t index) {
    const String errorText = drive->getLastErrorStr();
    const std::uint64_t last = lba + pass.blocks - 1;
    Narrowing narrowing{pass, lba, index};
    bool sectorFailed = false;
    drive->setRetryCallbackBehavior(m_behaviors.isolation);
    for (std::uint64_t sector = lba; sector <= last; ++sector) {
        if (drive->readSector(sector, 1, m_readBuffer.data(), pass.range.sectorSize)) {
            if (const auto ended = checkSector(narrowing, sector))
                return {ended};
            continue;
        }
        if (const auto ended = endOnNonFail(drive->lastError))
            return {ended};
        reportRdErr(sector);
        sectorFailed = true;
    }
    drive->setRetryCallbackBehavior(m_behaviors.normal);
    if (sectorFailed)
        return {restoreChunk(pass, lba), true};
    m_logger.line(3,
                  zel::formatted("Unable to isolate individual sectors in the range %I64u through %I64u, "
                                 "original error message: ",
                                 lba, last),
                  errorText);
    reportIsolationRecover(lba, pass.blocks, errorText);
    return {};
}

/// The chunk is put back at the first sector that differs; the others are compared with the pattern still.
std::optional<TestResult> PatternWriteTest::checkSector(Narrowing& narrowing, std::uint64_t sector) {
    const Pass& pass = narrowing.pass;
    if (isStamp(narrowing.index) ? m_stamp.isAt(sector, {m_readBuffer.data(), pass.range.sectorSize})
                                 : verifyPattern(narrowing.index, m_readBuffer.data(), pass.range.sectorSize))
        return std::nullopt;
    if (narrowing.holdsPattern) {
        drive->condemnSectors(sector, 1, SectorFault::wrongData);
    } else if (!narrowing.isDoubtLogged) {
        m_logger.line(3, "From LBA ", sector, " through ", narrowing.lba + pass.blocks - 1,
                      " the comparison proves nothing: the sectors had been put back before they were read");
        narrowing.isDoubtLogged = true;
    }
    events::patternMismatch->setVariable("sector", sector);
    sendEvent(*events::patternMismatch, EventType::ERR);
    narrowing.holdsPattern = !pass.preserve;
    return restoreChunk(pass, narrowing.lba);
}

std::optional<TestResult> PatternWriteTest::restoreChunk(const Pass& pass, std::uint64_t lba) {
    _LIBDRIVE2_ERROR_TYPES errorType = libDrive2::LIBDRIVE2_NO_ERROR;
    if (m_backup.restoreSectors(lba, pass.blocks, errorType))
        return std::nullopt;
    return getCurrentResult(errorType);
}

std::optional<TestResult> PatternWriteTest::stopIfAsked(const Pass& pass, std::uint64_t lba) {
    if (!DiagModule::checkForStop())
        return std::nullopt;
    reportUserAbort(lba);
    const auto lost = restoreChunk(pass, lba);
    return lost ? *lost : TestResult(TestResult::USERABORTED);
}

}  // namespace libDriveTest
