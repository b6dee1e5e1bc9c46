#pragma once

#include <array>

#include "LinearChunkTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Reads every chunk of a range twice, and reports sectors that cannot be read and chunks whose two copies
/// differ.
class DRIVETEST_API LinearReadCompareTest : public LinearChunkTest {
public:
    explicit LinearReadCompareTest(Drive& tested);
    explicit LinearReadCompareTest(libDrive2::SharedDrive tested);
    ~LinearReadCompareTest() override;

protected:
    void allocate(std::uint32_t bufferBytes) override;
    std::optional<TestResult> testChunk(const Pass& pass, std::uint64_t lba) override;

private:
    std::array<zel::Buffer, 2> m_copies;
};

}  // namespace libDriveTest
