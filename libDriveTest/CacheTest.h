#pragma once

#include "PatternWriteTest.h"
#include "quix5/ModuleDescriptor.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Writes large chunks over the last 32768 sectors of a range and reads each straight back, so that the data
/// passes through the drive's cache; puts each chunk's data back. It writes to the drive.
class DRIVETEST_API CacheTest : public PatternWriteTest {
public:
    explicit CacheTest(Drive& tested);
    explicit CacheTest(libDrive2::SharedDrive tested);
    ~CacheTest() override;

    static void init(Test& test);
    static quix5::TestOutlook foresee(std::uint64_t sectors, std::uint32_t sectorBytes);
    TestResult runTest() override;

protected:
    [[nodiscard]] std::uint32_t bytesToCompare(const Pass& pass) const override;

private:
    void logParameters(const Pass& pass, std::uint64_t startLba) const;
    void setupPatterns();
};

}  // namespace libDriveTest
