#include "CacheTest.h"

#include <array>

#include "Outlook.h"
#include "Parameters.h"
#include "RangeSetup.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "CacheTest";
constexpr std::uint64_t kSectorsToTest = 32768;
constexpr std::uint16_t kBlocks = 256;
constexpr double kUsualSeconds = 15;  ///< on a hard disk, which waits for its next turn before each transfer
constexpr std::array<std::uint16_t, 5> kPatterns = {0x0000, 0xFFFF, 0xAAAA, 0x5555, 0x1234};

}  // namespace

CacheTest::CacheTest(Drive& tested) : PatternWriteTest(tested, kName) {}
CacheTest::CacheTest(libDrive2::SharedDrive tested) : PatternWriteTest(std::move(tested), kName) {}
CacheTest::~CacheTest() = default;

void CacheTest::init(Test& test) {
    DriveTest::init(test);
    test.setDestructive(true);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::preserveData.addTo(test);
    parameters::isolateFailedLBA.addTo(test);
    initWriteTest();
}

quix5::TestOutlook CacheTest::foresee(std::uint64_t sectors, std::uint32_t sectorBytes) {
    quix5::TestOutlook outlook = foreseeRange({sectors, sectorBytes}, 1);
    if (outlook.refused.isEmpty() && outlook.bytes < static_cast<double>(kSectorsToTest) * sectorBytes)
        outlook.refused = parameters::startRange.item() + ", " + parameters::endRange.item();
    outlook.bytes = 0;
    outlook.seconds = kUsualSeconds;
    return outlook;
}

TestResult CacheTest::runTest() {
    const zel::TraceLogger trace(m_logger, "CacheTest::Run");
    Pass pass;
    if (const TestResult found = setUpDrive(pass.range); found != TestResult::PASS)
        return found;
    if (const TestResult setUp = RangeSetup(m_logger).takeWhole(pass.range); setUp != TestResult::PASS)
        return setUp;
    pass.preserve = parameters::preserveData.value();
    pass.isolate = parameters::isolateFailedLBA.value();
    if (pass.range.sectorsToTest < kSectorsToTest)
        return reportInvalidParameters(m_logger,
                                       {parameters::startRange.item(), parameters::endRange.item()});
    const std::uint64_t startOfRange = pass.range.startLba;
    pass.range.sectorsToTest = kSectorsToTest;
    pass.range.startLba = pass.range.endLba - kSectorsToTest;
    pass.blocks = kBlocks;
    pass.fullChunksEnd = kSectorsToTest - kSectorsToTest % kBlocks;
    blockBytes = bufferBytes(pass.range.sectorSize, kBlocks);
    patternCount = static_cast<std::uint32_t>(kPatterns.size());
    if (blockBytes == 0)
        return TestResult::INTERNALERROR;
    allocateBuffers(pass);
    logParameters(pass, startOfRange);
    setupPatterns();
    return testChunks(pass);
}

void CacheTest::logParameters(const Pass& pass, std::uint64_t startLba) const {
    zel::Logger& log = m_logger;
    log.line(1, "=== CacheTest parameters ===");
    log.line(1, " Sectors To Test:       ", kSectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", startLba);
    log.line(1, " Last LBA:  (exclusive) ", pass.range.endLba);
    log.line(1, " Disk has Sectors:      ", pass.range.sectorCount);
    log.line(1, " Sector Size:           ", pass.range.sectorSize);
    log.line(1, " Concurrent R/W blocks: ", pass.blocks);
    log.line(1, " Partial Chunk @        ", pass.fullChunksEnd);
    log.line(1, " Pattern Count:         ", patternCount);
    log.line(1, " Isolate Failing LBA    ", pass.isolate ? "yes" : "no");
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
    log.line(1, zel::formatted(" Restore Data:          %s", pass.preserve ? "yes" : "no"));
}

/// A block is filled with its word, least significant byte first.
void CacheTest::setupPatterns() {
    allocatePatterns();
    for (std::uint32_t p = 0; p < patternCount; ++p) {
        std::uint8_t* const block = getPattern(p);
        for (std::uint32_t at = 0; at < blockBytes; ++at)
            block[at] = static_cast<std::uint8_t>(kPatterns.at(p) >> (at % 2 * 8));
    }
}

/// The chunk's number of sectors, taken as bytes.
std::uint32_t CacheTest::bytesToCompare(const Pass& pass) const {
    return pass.blocks;
}

}  // namespace libDriveTest
