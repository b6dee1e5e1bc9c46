#pragma once

#include "DriveTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// What the seek tests have in common: they move to positions of a range one after the other, by a seek
/// command or by reading one sector there, and report the moves that fail. Which positions, and when each
/// looks for a stop request, is its own.
class DRIVETEST_API SeekTest : public DriveTest {
public:
    ~SeekTest() override;

    static void init(Test& test);
    TestResult runTest() override;

protected:
    /// The working values of one run.
    struct Pass {
        RangePlan range;
        std::uint64_t moves = 0;  ///< as many as sectors to test, if the test does not say otherwise
        bool reads = false;       ///< else it seeks
        zel::Buffer sector;
    };
    /// Move `index` of `total`, to `lba`, coming from `previous`.
    struct Step {
        std::uint64_t index;
        std::uint64_t total;
        std::uint64_t lba;
        std::uint64_t previous;

        [[nodiscard]] std::uint64_t percent() const { return index * 100 / total; }
    };

    /// `name` is the test's; it names the logger and the block of parameters, too. Static text.
    SeekTest(Drive& tested, const char* name);
    SeekTest(libDrive2::SharedDrive tested, const char* name);

    /// Settles what the test derives from the range.
    virtual void plan(Pass& /*pass*/) {}
    virtual void logParameters(const Pass& pass) const;
    /// Adds what stands between start and end of the range in the block of parameters.
    virtual void logSpacing(const Pass& /*pass*/) const {}
    /// The last thing before the first move.
    virtual void begin(const Pass& /*pass*/) {}
    virtual std::uint64_t position(const Pass& pass, std::uint64_t index) = 0;
    /// Before and after a move; a result ends the test.
    virtual std::optional<TestResult> beforeMove(const Step& /*step*/) { return std::nullopt; }
    virtual std::optional<TestResult> afterMove(const Step& step);
    virtual void reportFailure(const Step& step) = 0;

    std::optional<TestResult> stopIfAsked(std::uint64_t lba);

    const char* m_name;
    zel::Logger& m_logger;

private:
    TestResult visitPositions(Pass& pass);
    bool move(Pass& pass, std::uint64_t lba);
};

}  // namespace libDriveTest
