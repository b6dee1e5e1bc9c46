#include "LinearReadCompareTest.h"

#include <cstring>

#include "Events.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "LinearReadCompareTest";

}  // namespace

LinearReadCompareTest::LinearReadCompareTest(Drive& tested) : LinearChunkTest(tested, kName) {}
LinearReadCompareTest::LinearReadCompareTest(libDrive2::SharedDrive tested)
    : LinearChunkTest(std::move(tested), kName) {}
LinearReadCompareTest::~LinearReadCompareTest() = default;

void LinearReadCompareTest::allocate(std::uint32_t bufferBytes) {
    for (zel::Buffer& copy : m_copies) {
        copy = zel::Buffer(bufferBytes);
        // Copies that a failed read left as they were are compared, too.
        std::memset(copy.data(), 0, copy.size());
    }
}

std::optional<TestResult> LinearReadCompareTest::testChunk(const Pass& pass, std::uint64_t lba) {
    bool sectorFailed = false;
    for (zel::Buffer& copy : m_copies) {
        if (drive->readSector(lba, pass.chunks.blockCount, copy.data(), pass.chunks.bufferSize))
            continue;
        if (const auto ended = handleReadFailure(pass, lba, copy, sectorFailed))
            return ended;
        if (sectorFailed)
            return std::nullopt;
    }
    if (std::memcmp(m_copies[0].data(), m_copies[1].data(), pass.chunks.bufferSize) != 0) {
        condemnDifferences(lba, pass.chunks.blockCount, m_copies[0].data(), m_copies[1].data());
        events::dataMiscompareErr->setVariable("TestSector", lba);
        sendEvent(*events::dataMiscompareErr, EventType::ERR);
    }
    return std::nullopt;
}

}  // namespace libDriveTest
