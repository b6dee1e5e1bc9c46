#include "LinearPatternTest.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "Events.h"
#include "Outlook.h"
#include "Parameters.h"
#include "PatternChoice.h"
#include "PatternTable.h"
#include "RangeSetup.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "LinearPatternTest";
/// The sum of the table's bytes, modulo 256.
constexpr std::uint8_t kPatternsSum = 0xFB;
/// A chunk holds at most this part of the sectors to test.
constexpr std::uint64_t kChunkShares = 20;

const char* yesOrNo(bool value) {
    return value ? "yes" : "no";
}

}  // namespace

LinearPatternTest::LinearPatternTest(Drive& tested) : PatternWriteTest(tested, kName) {}
LinearPatternTest::LinearPatternTest(libDrive2::SharedDrive tested)
    : PatternWriteTest(std::move(tested), kName) {}
LinearPatternTest::~LinearPatternTest() = default;

void LinearPatternTest::init(Test& test) {
    DriveTest::init(test);
    test.setDestructive(true);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::numberOfSeeks.addTo(test);
    parameters::sectorPercentToTest.addTo(test);
    parameters::preserveData.addTo(test);
    parameters::numberOfPatterns.addTo(test);
    parameters::overridePattern.addTo(test);
    parameters::verifyOnly.addTo(test);
    parameters::addressPattern.addTo(test);
    parameters::isolateFailedLBA.addTo(test);
    parameters::maxTime.addTo(test);
    addGoingOn(test);
    initWriteTest();
}

TestResult LinearPatternTest::runTest() {
    const zel::TraceLogger trace(m_logger, "LinearPatternTest::Run");
    Pass pass;
    if (const TestResult found = setUpDrive(pass.range); found != TestResult::PASS)
        return found;
    if (const TestResult setUp = RangeSetup(m_logger).takeShare(pass.range); setUp != TestResult::PASS)
        return setUp;
    pass.preserve = parameters::preserveData.value();
    pass.isolate = parameters::isolateFailedLBA.value();
    pass.divisor = pass.range.divisor();
    const ChunkPlan chunks = ChunkPlan::make(pass.range, *drive, kChunkShares);
    pass.blocks = chunks.blockCount;
    pass.fullChunksEnd = chunks.fullChunkEnd;
    blockBytes = chunks.bufferSize;
    if (blockBytes == 0)
        return TestResult::INTERNALERROR;
    if (const TestResult chosen = choosePatterns(pass); chosen != TestResult::PASS)
        return chosen;
    allocateBuffers(pass);
    logParameters(pass);
    if (!setupPatterns())
        return TestResult::CANNOTRUN;
    return testChunks(pass);
}

TestResult LinearPatternTest::choosePatterns(Pass& pass) {
    const auto most = static_cast<std::uint32_t>(kPatterns.size());
    const PatternChoice choice = PatternChoice::read(most);
    if (!choice.refused.isEmpty() && !choice.isCountRefused)
        return reportInvalidParameters(m_logger, {choice.refused});
    if (choice.isCountRefused) {
        events::invalidPatternCnt->setVariable("patternCntMax", most);
        sendEvent(*events::invalidPatternCnt, EventType::WARNING);
        return TestResult::BADPARAMS;
    }
    overrideSet = choice.isOverridden;
    overrideByte = choice.overrideByte;
    pass.verifyOnly = choice.verifiesOnly;
    pass.preserve = pass.preserve && !pass.verifyOnly;
    stampsAddresses = choice.stampsAddresses;
    patternCount = choice.count();
    return TestResult::PASS;
}

quix5::TestOutlook LinearPatternTest::foresee(std::uint64_t sectors, std::uint32_t sectorBytes) {
    const PatternChoice choice = PatternChoice::read(static_cast<std::uint32_t>(kPatterns.size()));
    const bool preserves = parameters::preserveData.value() && !choice.verifiesOnly;
    // Each pattern is written and read; what is preserved is saved, put back and read again.
    const unsigned transfers = choice.verifiesOnly ? 1 : (preserves ? 3 : 0) + 2 * choice.count();
    quix5::TestOutlook outlook = foreseeShare({sectors, sectorBytes}, transfers);
    if (!choice.refused.isEmpty())
        outlook.refused = choice.refused;
    return outlook;
}

void LinearPatternTest::logParameters(const Pass& pass) const {
    zel::Logger& log = m_logger;
    log.line(1, "=== LinearPatternTest parameters ===");
    log.line(1, " Test Percent Req.      ", zel::ZELValue(percentOf(pass.range.fraction)).text());
    log.line(1, " Sectors To Test:       ", pass.range.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", pass.range.startLba);
    log.line(1, " Divisor:               ", pass.divisor);
    log.line(1, " Last LBA:  (exclusive) ", pass.range.endLba);
    log.line(1, " Disk has Sectors:      ", pass.range.sectorCount);
    log.line(1, " Sector Size:           ", pass.range.sectorSize);
    log.line(1, " Opt. xfer blocks:      ", pass.blocks);
    log.line(1, " Partial Chunk @        ", pass.fullChunksEnd);
    log.line(1, " Pattern Count:         ", patternCount);
    log.line(1, " Isolate Failing LBA    ", yesOrNo(pass.isolate));
    log.line(1, " Verify Only            ", yesOrNo(pass.verifyOnly));
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
    log.line(1, zel::formatted(" Restore Data:          %s", yesOrNo(pass.preserve)));
}

bool LinearPatternTest::setupPatterns() {
    const auto sum = static_cast<std::uint8_t>(std::accumulate(kPatterns.begin(), kPatterns.end(), 0U));
    if (!overrideSet && sum != kPatternsSum) {
        m_logger.line(1, zel::formatted("Pattern table CRC: %02Xh  Expected: %02Xh", sum, kPatternsSum));
        sendEvent(*events::patternBufferCorrupt, EventType::ERR);
        return false;
    }
    allocatePatterns();
    for (std::uint32_t i = 0; i < patternCount - (stampsAddresses ? 1 : 0); ++i)
        std::memset(getPattern(i), overrideSet ? overrideByte : kPatterns.at(i), blockBytes);
    return true;
}

std::uint32_t LinearPatternTest::bytesToCompare(const Pass& /*pass*/) const {
    return blockBytes;
}

}  // namespace libDriveTest
