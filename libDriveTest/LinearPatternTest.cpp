#include "LinearPatternTest.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "Events.h"
#include "Parameters.h"
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
    using namespace parameters;
    patternCount = numberOfPatterns.value();
    overrideSet = false;
    if (const String text = overridePattern.value(); !text.isEmpty()) {
        std::uint32_t value = 0;
        if (!text.strToUInt(value, 16) || value > 0xFF)
            return reportInvalidParameters(m_logger, {overridePattern.item()});
        overrideByte = static_cast<std::uint8_t>(value);
        patternCount = 1;
        overrideSet = true;
    }
    pass.verifyOnly = verifyOnly.value();
    if (pass.verifyOnly && !overrideSet)
        return reportInvalidParameters(m_logger, {overridePattern.item(), verifyOnly.item()});
    pass.preserve = pass.preserve && !pass.verifyOnly;
    if (patternCount == 0 || patternCount > kPatterns.size()) {
        events::invalidPatternCnt->setVariable("patternCntMax", static_cast<std::uint32_t>(kPatterns.size()));
        sendEvent(*events::invalidPatternCnt, EventType::WARNING);
        return TestResult::BADPARAMS;
    }
    stampsAddresses = addressPattern.value();
    // The addresses of another run are not known.
    if (stampsAddresses && pass.verifyOnly)
        return reportInvalidParameters(m_logger, {addressPattern.item(), verifyOnly.item()});
    patternCount += stampsAddresses ? 1 : 0;
    return TestResult::PASS;
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
