#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "libDrive2/UndoJournal.h"

namespace libDrive2 {

/// What became of a sector. In a dry run: what would.
enum class SectorFinding {
    equal,     ///< holds its original data
    restored,  ///< held what the run wrote, or could not be read; now holds its original data
    torn,      ///< held pieces of known contents: a write that was cut off; exported, then restored
    foreign,   ///< holds something else: left alone, the original data exported
    failed,    ///< could not be read, exported, restored or verified: stays in the journal
};
inline constexpr std::size_t kSectorFindings = 5;

/// Consecutive sectors of which the same is to be said.
struct FoundRange {
    std::uint64_t lba = 0;
    std::uint64_t count = 0;
    SectorFinding finding = SectorFinding::equal;
    zel::String problem{};  ///< of failed sectors: why the first of them did

    bool operator==(const FoundRange&) const = default;
};

/// Keeps what recovery does not put on the drive.
class RecoverySink {
public:
    enum class What {
        found,     ///< what torn sectors hold, before they are overwritten
        original,  ///< what foreign and failed sectors held before the run
    };
    virtual ~RecoverySink() = default;
    /// Consecutive sectors from `lba` on; the data is the caller's. True only when it is durable: sectors
    /// whose export failed are not overwritten and stay in the journal. A repeated recovery exports again.
    virtual bool saveSectors(std::uint64_t lba, std::span<const std::uint8_t> data, What what) = 0;
};

struct RecoveryReport {
    zel::String problem{};  ///< why nothing was looked at, or the journal could not be written; else empty
    std::uint64_t counts[kSectorFindings] = {};
    std::vector<FoundRange> ranges{};  ///< all sectors of open slots, per slot in rising order
    std::size_t slotsLeft = 0;         ///< open or damaged: while there are any, the journal must be kept

    [[nodiscard]] std::uint64_t count(SectorFinding finding) const {
        return counts[static_cast<std::size_t>(finding)];
    }
    [[nodiscard]] bool isComplete() const { return problem.isEmpty() && slotsLeft == 0; }
};

struct RecoveryTask {
    BlockHandle* journalFile = nullptr;        ///< not owned; writable unless in a dry run
    const JournalContents* journal = nullptr;  ///< not owned; as read from that file
    BlockHandle* drive = nullptr;              ///< not owned; writable unless in a dry run
    DriveIdentity driveIdentity{};             ///< of that drive: must be the journal's
    RecoverySink* sink = nullptr;              ///< not owned; not called in a dry run
    bool dryRun = false;                       ///< only find out; write and export nothing
};

/// Puts back what the journal's open slots hold. Overwrites only sectors that hold what the run wrote, pieces
/// of that, or nothing readable. A slot is closed when all its sectors are settled: equal, restored and read
/// back, or foreign and exported. May be interrupted at any point and repeated. Blocks until all is durable.
RecoveryReport recover(const RecoveryTask& task);

}  // namespace libDrive2
