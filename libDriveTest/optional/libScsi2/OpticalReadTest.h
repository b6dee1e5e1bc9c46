#pragma once

#include <functional>

#include "DriveTestMMCRO.h"
#include "libDrive2/MmcTypes.h"
#include "zel/Buffer.h"
#include "zel/Export.h"

namespace libDriveTest {

/// What the two read performance tests have in common. Rates are KB/s, 1 KB = 1000 bytes; for them a sector
/// has 2048 bytes, whatever the drive says.
class DRIVETEST_API OpticalReadTest : public DriveTestMMCRO {
public:
    ~OpticalReadTest() override;

protected:
    /// `name` is the test's; it names the logger, too. `sectorsPerRead` is how much one command reads.
    OpticalReadTest(ScsiMMCDrive& tested, const char* name, std::uint32_t sectorsPerRead);
    OpticalReadTest(SharedMMCDrive tested, const char* name, std::uint32_t sectorsPerRead);

    static constexpr std::uint32_t kSectorBytes = 2048;

    /// The part of the medium that a pass reads.
    struct Stretch {
        std::uint64_t first = 0;
        std::uint64_t last = 0;  ///< exclusive
    };

    /// Parameters and texts that both have, after those of their own.
    static void addCommon(Test& test);
    /// The sectors and the texts of the range. PASS to go on; anything else is the test's result.
    TestResult setUpMedium(RangePlan& range);
    /// Whether the range lies on the medium; as above.
    TestResult checkStretch(RangePlan& range);
    void printStatistics(const RangePlan& range, std::uint32_t passes) const;

    /// What a pass tests: not past the descriptor's end. PASS, or BADPARAMS when there is nothing.
    static TestResult cutStretch(const ::scsi::mmc_performance_nom_desc_t& hostOrder, std::uint64_t sectors,
                                 std::uint32_t passes, Stretch& stretch);
    /// How far passes lie apart, in sectors.
    [[nodiscard]] std::uint64_t stepOf() const;

    /// Reads a stretch; a sector that fails is reported, and reading goes on. `goesOn` gets the number of
    /// sectors read so far after each read, and ends the stretch with false; it may be empty. False when the
    /// user stopped the test.
    std::optional<TestResult> readStretch(const Stretch& stretch,
                                          const std::function<bool(std::uint64_t)>& goesOn);
    /// Brings the disc up to speed in front of a timed read; false when the user stopped the test.
    std::optional<TestResult> spinUp(const Stretch& stretch);

    void showSpeeds(const String& rate, const String& multiples);
    /// A speed as a multiple of the medium's 1x.
    [[nodiscard]] String multiple(double kilobytesPerSecond) const;
    /// Logs and sends that the rate is below the minimum.
    void reportTooSlow(double rate, double minimum);
    void sendSpeedEvent(Event& event, double requested, double actual);

    static double rateOf(std::uint64_t sectors, std::uint32_t milliseconds);

    zel::Logger& m_logger;
    zel::Buffer m_buffer;

private:
    void reportUnreadable(std::uint64_t lba);
    std::uint32_t m_sectorsPerRead;
};

/// The shortest text of a number.
String numberText(double number);

}  // namespace libDriveTest
