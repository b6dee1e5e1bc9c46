#pragma once

#include "ChunkSequence.h"
#include "SeekTest.h"
#include "TimeLimit.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Moves to positions of a range in ascending order and reports those that cannot be reached.
class DRIVETEST_API LinearSeekTest : public SeekTest {
public:
    explicit LinearSeekTest(Drive& tested);
    explicit LinearSeekTest(libDrive2::SharedDrive tested);
    ~LinearSeekTest() override;

    static void init(Test& test);

protected:
    void logSpacing(const Pass& pass) const override;
    void begin(const Pass& pass) override;
    std::uint64_t position(const Pass& pass, std::uint64_t index) override;
    std::optional<TestResult> beforeMove(const Step& step) override;
    std::optional<TestResult> afterMove(const Step& step) override;
    void reportFailure(const Step& step) override;

private:
    TimeLimit m_time;
    ChunkSequence m_sequence{0, 1, 0, false};
};

}  // namespace libDriveTest
