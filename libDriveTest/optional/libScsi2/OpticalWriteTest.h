#pragma once

#include <optional>
#include <set>
#include <vector>

#include "DriveTestMMCRW.h"
#include "libDrive2/MmcTypes.h"
#include "zel/Buffer.h"
#include "zel/Export.h"

namespace libDriveTest {

/// A recording at every write speed of the drive: an area is reserved, written unit by unit with the patterns
/// of a table, the track is closed, the area read back and compared, the session closed. Where the units of
/// the area lie that are written is for a derived class to say.
class DRIVETEST_API OpticalWriteTest : public DriveTestMMCRW {
public:
    ~OpticalWriteTest() override;
    TestResult runTest() override;

protected:
    /// `name` is the test's; it names the logger, too. Static text.
    OpticalWriteTest(RecordableDrive& tested, const char* name);
    OpticalWriteTest(SharedRecordableDrive tested, const char* name);

    /// What the parameters say.
    struct Settings {
        std::uint64_t seeks = 0;
        std::uint32_t patternCount = 0;
    };
    /// The recording at one speed; counts in sectors.
    struct Recording {
        std::uint32_t speedIndex = 0;
        std::uint32_t speedCount = 0;
        std::uint64_t area = 0;   ///< reserved
        std::uint64_t count = 0;  ///< written: units times their size
        std::uint32_t unit = 0;   ///< of one write
        std::uint32_t sectorSize = 0;
        std::uint32_t patternCount = 0;
        std::uint64_t unitsWritten = 0;
    };

    /// Why the medium cannot be written the way that this test does; empty when it can.
    virtual String refuseMedium() { return {}; }
    /// How many sectors the medium is prepared for; 0 for all that fit.
    [[nodiscard]] virtual std::uint64_t sectorsToPrepare(const Settings& settings) const = 0;
    /// Sets area and count: multiples of the unit, 0 when not even one unit fits.
    virtual void plan(const Settings& settings, std::uint64_t freeSectors, Recording& recording) = 0;
    /// Where the k-th unit lies, in sectors from the area's start.
    [[nodiscard]] virtual std::uint64_t offsetOf(const Recording& recording, std::uint64_t k) const = 0;

private:
    using SpeedDescriptor = libDrive2::zel_write_speed_desc_t;

    // The steps at one speed. PASS to go on; anything else is the test's result.
    TestResult testSpeed(const SpeedDescriptor& speed, const Settings& settings, Recording& recording);
    TestResult setSpeed(const SpeedDescriptor& speed, const String& speedText);
    TestResult prepareMedium(const Settings& settings);
    TestResult planRecording(const Settings& settings, Recording& recording);
    TestResult reserve(const Recording& recording);
    TestResult record(Recording& recording);

    TestResult writeUnits(Recording& recording, std::uint64_t start);
    TestResult compareUnits(const Recording& recording, std::uint64_t start);
    TestResult compareUnit(const Recording& recording, std::uint64_t position);
    void waitForWrite(TestResult& outcome);
    void closeSession(TestResult& outcome);
    /// A drive that is lost ends the test; of others the outcome stays.
    void noteUnclosed(const char* what, TestResult& outcome);

    void fillPattern(const Recording& recording, std::uint64_t k);
    void planDifferent(const Recording& recording, std::uint64_t start);
    void reportRange(Event& event, const char* lastName, std::uint64_t lba, std::uint32_t unit);
    void reportMiscompare(const Recording& recording, std::uint64_t lba);
    TestResult failPreparation(const char* reason, TestResult outcome);
    void showAt(quix5::LocalizedString& text, std::uint64_t sector);

    zel::Logger& m_logger;
    const char* m_name;
    std::set<std::uint64_t> m_starts;  ///< of the recordings of this run
    std::uint64_t m_plannedSectors = 0;
    zel::Buffer m_written;
    zel::Buffer m_read;
};

}  // namespace libDriveTest
