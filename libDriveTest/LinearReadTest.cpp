#include "LinearReadTest.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "LinearReadTest";

}  // namespace

LinearReadTest::LinearReadTest(Drive& tested) : LinearChunkTest(tested, kName) {}
LinearReadTest::LinearReadTest(libDrive2::SharedDrive tested) : LinearChunkTest(std::move(tested), kName) {}
LinearReadTest::~LinearReadTest() = default;

void LinearReadTest::allocate(std::uint32_t bufferBytes) {
    m_buffer = zel::Buffer(bufferBytes);
}

std::optional<TestResult> LinearReadTest::testChunk(const Pass& pass, std::uint64_t lba) {
    bool sectorFailed = false;
    if (drive->readSector(lba, pass.chunks.blockCount, m_buffer.data(), pass.chunks.bufferSize))
        return std::nullopt;
    return handleReadFailure(pass, lba, m_buffer, sectorFailed);
}

}  // namespace libDriveTest
