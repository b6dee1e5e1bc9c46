#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "libDrive2/UndoJournal.h"
#include "zel/Export.h"

namespace libDrive2 {

/// What became of a sector. In a dry run: what would.
enum class SectorFinding {
    equal,     ///< holds its original data
    restored,  ///< held what the run wrote, or could not be read; now holds its original data
    torn,      ///< held pieces of known contents: a write that was cut off; exported, then restored
    foreign,   ///< holds something else: left alone, the original data exported
    failed,    ///< could not be read, exported, restored or verified, or the journal lost its original data
    withheld,  ///< would have been restored, but for foreign ones in its slot: left alone, the original
               ///< exported
    replaced,  ///< held something else; exported, then restored, by force
};
inline constexpr std::size_t kSectorFindings = 7;

/// Consecutive sectors of which the same is to be said.
struct FoundRange {
    std::uint64_t lba = 0;
    std::uint64_t count = 0;
    SectorFinding finding = SectorFinding::equal;
    zel::String problem{};  ///< of failed sectors: why the first of them did

    bool operator==(const FoundRange&) const = default;
};

/// Keeps what recovery does not put on the drive.
class DRIVETEST_API RecoverySink {
public:
    enum class What {
        found,     ///< what sectors hold, before they are overwritten
        original,  ///< what foreign, withheld and failed sectors held before the run
    };
    virtual ~RecoverySink() = default;
    /// Consecutive sectors from `lba` on; the data is the caller's. True only when it is durable: sectors
    /// whose export failed are not overwritten and stay in the journal. A repeated recovery exports again.
    virtual bool saveSectors(std::uint64_t lba, std::span<const std::uint8_t> data, What what) = 0;
};

struct RecoveryReport {
    zel::String problem{};  ///< why nothing was looked at, or the journal could not be written; else empty
    /// Of sectors that the run did not change: while any did change, nothing is done but by force.
    FingerprintFinding fingerprint{};
    bool isOtherDrive = false;  ///< refused: the drive is not the journal's, or it cannot be told
    /// Every sector holds its original, but nothing proves that this is the journal's drive and no copy of
    /// it: no slot was closed.
    bool mayBeCopy = false;
    std::uint64_t counts[kSectorFindings] = {};
    std::vector<FoundRange>
        ranges{};               ///< all sectors of open slots, newest slot first, in it in rising order
    std::size_t slotsLeft = 0;  ///< open or damaged: while there are any, the journal must be kept

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
    bool isNamed = false;  ///< the person named the drive: enough where its identity proves nothing lasting
    /// Do it whatever the drive is and holds: all that differs is exported, then overwritten.
    bool force = false;
};

/// Puts back what the journal's open slots hold, the newest first. Writes nothing to a drive that has been
/// changed outside of them, and nothing to a slot with one sector that holds neither its original nor what
/// the run wrote, pieces of that, or nothing readable. A slot is closed when all its sectors hold their
/// originals, read back where they were written. Of several journals of a drive the newest is to be recovered
/// first. May be interrupted at any point and repeated. Blocks until all is durable.
DRIVETEST_API RecoveryReport recover(const RecoveryTask& task);

}  // namespace libDrive2
