#pragma once

#include "OpticalWriteTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Writes and compares the first sectors that the medium takes, as many as asked for, or all that are free.
/// Destructive.
class DRIVETEST_API PatternTestMMC : public OpticalWriteTest {
public:
    explicit PatternTestMMC(RecordableDrive& tested);
    explicit PatternTestMMC(SharedRecordableDrive tested);
    ~PatternTestMMC() override;

    static void init(Test& test);
    /// That a run leaves nothing of a write-once medium for some of the drive's speeds; empty when it does.
    static String warnOf(const DiagDevice& device, std::uint32_t openArgument1, std::uint32_t openArgument2);

protected:
    [[nodiscard]] std::uint64_t sectorsToPrepare(const Settings& settings) const override;
    void plan(const Settings& settings, std::uint64_t freeSectors, Recording& recording) override;
    [[nodiscard]] std::uint64_t offsetOf(const Recording& recording, std::uint64_t k) const override;
};

}  // namespace libDriveTest
