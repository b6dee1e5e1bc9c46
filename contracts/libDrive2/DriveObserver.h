#pragma once

#include <chrono>
#include <cstdint>

#include "libDrive2/DriveTypes.h"
#include "zel/Export.h"
#include "zel/String.h"

namespace libDrive2 {

enum class DriveOperation : std::uint8_t { read, write, seek, flush, other };

/// One finished operation of a drive, retries included.
struct DriveOperationReport {
    DriveOperation operation;
    std::uint64_t lba;    ///< 0 where the operation has none
    std::uint32_t count;  ///< sectors; 0 where the operation has none
    /// From the first attempt to the last; zero while Drive::streamingTransfers is set.
    std::chrono::nanoseconds duration;
    /// When it ended, on zel::Clock; zero while Drive::streamingTransfers is set.
    std::chrono::nanoseconds finished;
    std::uint32_t attempts;  ///< at least 1
    _LIBDRIVE2_ERROR_TYPES outcome;
    /// The duration has in it what is done once before transfers like this one: of a recording, the laser's
    /// calibration and the lead-in. It tells nothing of these sectors.
    bool getsReady = false;
    /// It succeeded, but the drive says that it had to correct or to try again by itself.
    bool correctedByDrive = false;
};

/// What a test finds wrong with sectors.
enum class SectorFault : std::uint8_t {
    unreadable,
    unwritable,
    unreachable,  ///< a seek to them fails
    wrongData,    ///< they hold something else than was written, or than was read before
};

/// Sectors that a test found bad.
struct CondemnedSectors {
    SectorSpan sectors;
    SectorFault fault;
    /// The drive's own words (sense, status, registers); empty where no operation failed. For the call only.
    const zel::String& words;
};

/// Watches a drive's operations and what a test makes of them; installed with Drive::setObserver, not owned.
/// Called on the test's thread after every operation: it must be quick and must not call the drive.
class DRIVETEST_API DriveObserver {
public:
    virtual ~DriveObserver() = default;
    virtual void onOperation(const DriveOperationReport& report) = 0;
    /// A removable medium is ready, and has this size: perhaps not what the drive had before.
    virtual void onMedium(std::uint64_t /*sectors*/, std::uint32_t /*sectorBytes*/) {}
    /// The test is about to visit this many different sectors.
    virtual void onPlan(std::uint64_t /*sectors*/) {}
    /// The test is about to visit this many positions, of one sector each, perhaps some of them several
    /// times.
    virtual void onPlanPositions(std::uint64_t /*positions*/) {}
    /// The test turns to these sectors: all it does inside them until the next such call, or an operation
    /// outside of them, is one visit.
    virtual void onVisit(std::uint64_t /*lba*/, std::uint32_t /*count*/) {}
    /// The test found these sectors bad. What it does not name here is not bad, whatever failed on the way.
    virtual void onCondemned(const CondemnedSectors& /*condemned*/) {}
    /// The test leaves these sectors of the present visit untested, whatever it has read of them.
    virtual void onSkipped(std::uint64_t /*lba*/, std::uint32_t /*count*/) {}
    /// The test is done with so many of the planned sectors, in its order, which is the same each time; of
    /// the others it has touched none, and nothing is open. `errors` is how many it counts towards its limit.
    virtual void onSettled(std::uint64_t /*sectors*/, std::uint32_t /*errors*/) {}
};

}  // namespace libDrive2
