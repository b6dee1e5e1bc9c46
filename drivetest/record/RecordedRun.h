#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "drivetest/health/HealthReading.h"
#include "drivetest/health/HeatCourse.h"
#include "drivetest/record/RecordedGrade.h"
#include "drivetest/shelf/links/LinkSharing.h"

namespace drivetest {

/// What a record tells of its drive. Texts are empty and numbers 0 where it does not tell.
struct RecordedDrive {
    std::string location{};
    std::string model{};
    std::string manufacturer{};
    std::string serial{};
    std::string firmware{};
    std::string method{};  ///< how it was reached, as accessMethodOf() names it
    std::uint64_t sectors = 0;
    std::uint32_t sectorBytes = 0;
    std::uint64_t protectionType = 0;  ///< of SCSI protection information; 0 none
};

struct RecordedCoverage {
    std::string unit{};  ///< "sectors" or "positions"
    std::uint64_t requested = 0;
    std::uint64_t tested = 0;
    std::uint64_t failed = 0;
    std::uint64_t skipped = 0;
};

/// Sectors that were found bad, and why.
struct RecordedBad {
    std::uint64_t first;
    std::uint64_t last;
    std::size_t cause;  ///< index into RecordedRun::badCauses
};

struct RecordedCause {
    std::string fault;
    std::string words;  ///< the drive's own; empty for none

    bool operator==(const RecordedCause&) const = default;
};

/// From the least to the worst, for cells that merge.
enum class CellOutcome : std::uint8_t { untested, good, recovered, failed };

/// The surface in cells of equal size, from the first sector on; lists run over all cells.
struct RecordedSurface {
    std::uint64_t sectorsPerCell = 0;
    std::vector<CellOutcome> outcomes{};
    std::vector<float> slowestUs{};           ///< 0 where nothing was measured
    std::vector<float> megabytesPerSecond{};  ///< 0 where nothing was measured; empty in records with regions

    [[nodiscard]] std::size_t cells() const { return outcomes.size(); }
    [[nodiscard]] std::uint64_t firstSector(std::size_t cell) const { return cell * sectorsPerCell; }
};

/// What transfers without error moved in a part of the drive, and how long they took.
struct RecordedMoved {
    double bytes = 0;
    double us = 0;

    /// 0 where nothing was measured.
    [[nodiscard]] double megabytesPerSecond() const { return us > 0 ? bytes / 1.048576 / us : 0; }
};

/// The drive in parts of equal size, from the first sector on. A list is empty where nothing was moved.
struct RecordedRegions {
    std::uint64_t sectorsPerRegion = 0;
    std::vector<RecordedMoved> read{};
    std::vector<RecordedMoved> written{};
};

/// How long operations of one kind took.
struct RecordedLatency {
    struct Bucket {
        double upToUs;
        std::uint64_t count;
    };
    std::string operation{};
    std::uint64_t count = 0;
    double p50Us = 0;
    double p99Us = 0;
    double p999Us = 0;
    double longestUs = 0;
    std::vector<Bucket> buckets{};
};

struct RecordedTransfer {
    std::string operation;
    std::uint64_t first;
    std::uint64_t last;
    double durationUs;
};

struct RecordedSlowness {
    std::uint64_t over150ms = 0;
    std::uint64_t over500ms = 0;
    std::vector<RecordedTransfer> slowest{};
};

/// A part of the way between drive and processor.
struct RecordedLink {
    std::string name{};
    std::uint64_t megabytesPerSecond = 0;  ///< that it carries; 0 where that is not known
};

/// What became of the transfers of one kind.
struct RecordedAttempts {
    std::string operation{};
    std::uint64_t firstTry = 0;
    std::uint64_t recovered = 0;  ///< by further attempts
    std::uint64_t failed = 0;
};

struct RecordedMeasurement {
    std::string name{};
    double value = 0;
    std::string unit{};
    std::string limitName{};
    std::optional<double> atLeast{};
};

/// Events of one kind, type and cause.
struct RecordedEvents {
    std::string key{};
    std::string type{};
    std::string cause{};  ///< the drive's own words; empty for none
    std::uint64_t count = 0;
    std::string firstMessage{};
    std::string lastMessage{};
    std::optional<std::uint64_t> firstSector{};
    std::optional<std::uint64_t> lastSector{};
};

struct RecordedError {
    std::string symptom;
    std::string message;
};

/// One run, as its record tells of it.
struct RecordedRun {
    std::string file{};  ///< the record, for messages
    std::string test{};
    std::string program{};
    std::string programVersion{};
    std::string commandLine{};
    std::vector<std::pair<std::string, std::string>> parameters{};  ///< name and value
    RecordedDrive drive{};
    std::string startTime{};  ///< RFC 3339, UTC
    std::string lastTime{};   ///< of the last line
    /// Where it was gone on with after it broke off: the times of the last line before and the first after.
    std::vector<std::pair<std::string, std::string>> pauses{};
    bool isCutOff = true;  ///< it does not tell of the end
    std::string result{};  ///< "PASS", "FAIL" ...; empty when it is cut off before that
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
    std::optional<RecordedCoverage> coverage{};
    std::vector<RecordedCause> badCauses{};
    std::vector<RecordedBad> bad{};  ///< sorted
    std::optional<RecordedSurface> surface{};
    std::optional<RecordedRegions> regions{};
    std::vector<RecordedLatency> latencies{};
    std::optional<RecordedSlowness> slowness{};
    std::vector<RecordedAttempts> attempts{};
    std::vector<RecordedMeasurement> measurements{};
    std::vector<RecordedEvents> events{};
    std::vector<RecordedError> problems{};  ///< of the run itself
    std::optional<HealthReading> healthBefore{};
    std::optional<HealthReading> healthAfter{};
    std::optional<HeatCourse> heat{};
    std::vector<RecordedLink> links{};       ///< from the drive to the processor
    std::vector<LinkSharing> sharedLinks{};  ///< of these, those with other drives of the same shelf
    std::vector<std::pair<std::uint64_t, std::uint64_t>> unrestored{};
    std::string journal{};  ///< that holds their data; empty for none
    std::optional<RecordedGrade> grade{};

    [[nodiscard]] std::uint64_t badSectors() const {
        std::uint64_t count = 0;
        for (const RecordedBad& range : bad)
            count += range.last - range.first + 1;
        return count;
    }
    /// Null for none.
    [[nodiscard]] const RecordedMeasurement* measurement(const char* name) const {
        for (const RecordedMeasurement& each : measurements)
            if (each.name == name)
                return &each;
        return nullptr;
    }
};

}  // namespace drivetest
