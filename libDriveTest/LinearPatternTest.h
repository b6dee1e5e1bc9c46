#pragma once

#include "PatternWriteTest.h"
#include "quix5/ModuleDescriptor.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Writes a series of one-byte patterns over each chunk of a range, reads each back and compares, and puts
/// the chunk's data back. It writes to the drive.
class DRIVETEST_API LinearPatternTest : public PatternWriteTest {
public:
    explicit LinearPatternTest(Drive& tested);
    explicit LinearPatternTest(libDrive2::SharedDrive tested);
    ~LinearPatternTest() override;

    static void init(Test& test);
    static quix5::TestOutlook foresee(std::uint64_t sectors, std::uint32_t sectorBytes);
    TestResult runTest() override;

protected:
    [[nodiscard]] std::uint32_t bytesToCompare(const Pass& pass) const override;

private:
    TestResult choosePatterns(Pass& pass);
    void logParameters(const Pass& pass) const;
    bool setupPatterns();

    std::uint8_t overrideByte = 0;
    bool overrideSet = false;
};

}  // namespace libDriveTest
