#pragma once

#include <set>
#include <vector>

#include "../DriveTest.h"
#include "../TimeLimit.h"
#include "LatencyWatch.h"
#include "ReadingOrder.h"
#include "zel/Export.h"

namespace libDriveTest {

class SampleOrder;

/// Reads without stressing the drive, for a limited time, in the order that tells most: a random sample that
/// is spread evenly over the range, with what it proves of the rest; or all of it, what is good first.
/// Nothing is tried twice.
class DRIVETEST_API SurveyReadTest : public DriveTest {
public:
    explicit SurveyReadTest(Drive& tested);
    explicit SurveyReadTest(libDrive2::SharedDrive tested);
    ~SurveyReadTest() override;

    static void init(Test& test);
    TestResult runTest() override;

private:
    /// A chunk that failed, while none of its sectors is known to be bad.
    struct Unclear {
        std::uint64_t lba;
        std::uint32_t count;
        String said;

        [[nodiscard]] std::uint64_t end() const { return lba + count; }
    };

    TestResult readSample(const RangePlan& range);
    TestResult readGently(const RangePlan& range);
    TestResult readAll(ReadingOrder& order);
    std::optional<TestResult> read(const Reading& reading, Finding& finding);
    std::optional<TestResult> readSingly(const Reading& reading);
    String clear(std::uint64_t lba);
    void tellOfUnclear();
    bool isOver();
    void restIfSlower(const Finding& finding);
    void tellOfSample(const SampleOrder& order, const TestResult& ended);

    zel::Logger& m_logger;
    std::uint64_t m_sectors = 0;  ///< to read
    std::uint64_t m_done = 0;     ///< of them
    std::uint32_t m_chunk = 1;
    std::uint32_t m_sectorSize = 0;
    zel::Buffer m_buffer;
    std::vector<Unclear> m_unclear;
    std::set<std::uint64_t> m_told;  ///< bad sectors of chunks that may be read once more
    bool m_isLimitTold = false;
    TimeLimit m_time;
    LatencyWatch m_latency;
};

}  // namespace libDriveTest
