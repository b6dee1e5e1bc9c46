#pragma once

#include "LinearChunkTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Reads a range from its start to its end and reports every sector that cannot be read.
class DRIVETEST_API LinearReadTest : public LinearChunkTest {
public:
    explicit LinearReadTest(Drive& tested);
    explicit LinearReadTest(libDrive2::SharedDrive tested);
    ~LinearReadTest() override;

protected:
    void allocate(std::uint32_t bufferBytes) override;
    std::optional<TestResult> testChunk(const Pass& pass, std::uint64_t lba) override;

private:
    zel::Buffer m_buffer;
};

}  // namespace libDriveTest
