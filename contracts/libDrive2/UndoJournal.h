#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DriveFingerprint.h"
#include "libDrive2/DriveIdentity.h"
#include "libDrive2/SectorJournal.h"
#include "zel/Buffer.h"
#include "zel/Export.h"

namespace libDrive2 {

/// What a new journal is for.
struct JournalSettings {
    DriveIdentity drive{};
    zel::String locator{};           ///< how the drive was reached; for messages, cut where it is very long
    std::uint64_t slotBytes = 0;     ///< the most that one protect() takes
    bool verifyRestores = true;      ///< have restored sectors read back before they are released
    DriveFingerprint fingerprint{};  ///< of the drive before the run
};

/// A SectorJournal in a preallocated file. It holds what up to two protections were given, which must not
/// overlap, and what is going to be written. Not closed properly, the file stays as it is: readJournal() and
/// recover() continue.
class DRIVETEST_API UndoJournal : public SectorJournal {
public:
    /// The size of a file for such slots and so many bytes of distinct sectors in expectWrites().
    static std::uint64_t fileBytes(std::uint64_t slotBytes, std::uint64_t expectedBytes);
    /// Begins a journal in a file of zeros, durably. Shares the handle, which must reach the file and not a
    /// cache that outlives no crash. Null on failure, with the reason.
    static std::unique_ptr<UndoJournal> create(SharedBlockHandle file, const JournalSettings& settings,
                                               zel::String& reason);

    /// Whether protected sectors have not been released: the file must be kept then.
    [[nodiscard]] virtual bool hasOpenSlots() const = 0;
    /// Makes the last releases durable; the file may be deleted then. False, with lastErrorStr(), while slots
    /// are open or when the file cannot be written: it must be kept. Nothing can be protected after it.
    virtual bool close() = 0;
};

/// What is known of a file that should be a journal.
enum class JournalState {
    valid,
    unused,        ///< its run ended before anything was protected: nothing was overwritten
    notAJournal,   ///< something else
    otherVersion,  ///< written by a program that keeps its journals differently
    truncated,     ///< shorter than its header says
    damaged,       ///< neither copy of the header fits its checksum
    unreadable,    ///< the file cannot be read
};

struct JournalHeader {
    std::array<std::uint8_t, 16> session{};  ///< of the run; random
    DriveIdentity drive{};
    zel::String locator{};
    std::uint64_t createdUnixMicros = 0;  ///< of several journals of a drive the newest is recovered first
    std::uint64_t slotBytes = 0;
    DriveFingerprint fingerprint{};  ///< of the drive before the run
};

/// Protected sectors that were not released: a range, or scattered ones.
struct JournalSlot {
    std::uint32_t index = 0;  ///< place in the file
    std::uint64_t sequence = 0;
    std::uint64_t lba = 0;            ///< of the first one
    std::uint32_t count = 0;          ///< sectors; 0 where even this is lost
    std::vector<SectorSpan> spans{};  ///< all of them, rising; empty where count is 0
    bool wasRestoring = false;  ///< a recovery began to overwrite torn sectors, and did not come to its end
    zel::Buffer data{};         ///< what the sectors held; empty for a damaged slot
    std::vector<SectorSpan> lost{};  ///< sectors of which the journal's own medium lost the data; rising
};

struct JournalContents {
    JournalState state = JournalState::unreadable;
    zel::String problem{};                 ///< what is wrong, for the person; empty when valid
    JournalHeader header{};                ///< only when valid
    std::vector<JournalSlot> open{};       ///< in the order in which they were protected
    std::vector<JournalSlot> damaged{};    ///< may have been protected, but all their data is lost
    std::vector<std::uint8_t> expected{};  ///< whole sectors, distinct: what the run was going to write
    bool expectedDamaged =
        false;  ///< some or all of these were lost: what the run wrote may count as foreign

    /// Whether anything is left to do or to tell.
    [[nodiscard]] bool needsRecovery() const {
        return state == JournalState::valid && (!open.empty() || !damaged.empty());
    }
    /// Whether it proves that nothing of it is needed: only then it may be deleted without a recovery.
    [[nodiscard]] bool isSettled() const {
        return state == JournalState::unused || (state == JournalState::valid && !needsRecovery());
    }
};

/// Reads all of a journal, which may hold anything; what a flipped bit damaged is mended. Never throws but
/// for want of memory; writes nothing.
DRIVETEST_API JournalContents readJournal(BlockHandle& file);

}  // namespace libDrive2
