#pragma once

#include <map>

#include "libDrive2/JournalRecovery.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/journal/SectorMatcher.h"

namespace libDrive2 {

/// Puts back the sectors of one slot, all or none. Where it holds scattered sectors, what is said of runs is
/// of those that follow one another on the drive. Behind several of them may be the same one, which holds the
/// same original then, so that their order does not matter.
///
/// How it works: each sector gets a finding. examine() reads what it holds now and compares: the original
/// (equal), something the run wrote (to be restored), a beginning of the one with the end of another (torn,
/// by a power cut), or neither (foreign). One foreign sector shows that somebody has used the range since;
/// then nothing of the slot is written, and what would have been restored is withheld. run() goes on where
/// there is none: what is about to be overwritten and is not plainly the run's is exported first, in case it
/// is not what it seems; the journal is told, durably, that torn sectors are about to be restored, since a
/// cut now leaves pieces of three contents; originals are written back in runs, one by one where a run
/// fails; the drive is flushed, and what was written is read back past the cache. A sector that fails on the
/// way keeps its finding "failed" with the reason. At last the originals of all sectors that do not hold
/// them are exported. Only when none is foreign or failed may the slot be closed.
class SlotRecovery {
public:
    SlotRecovery(const RecoveryTask& task, const JournalSlot& slot, SectorMatcher& matcher);

    /// Finds out what the sectors hold; writes nothing.
    void examine();
    [[nodiscard]] bool isAllEqual() const;
    /// Whether a torn one of scattered sectors holds exactly this.
    [[nodiscard]] bool holdsTorn(Bytes sector) const;
    /// What follows. Whether all sectors hold their originals, so that the slot may be closed.
    bool run();
    [[nodiscard]] const JournalSlot& slot() const { return m_slot; }
    void addTo(RecoveryReport& report) const;

private:
    /// What a sector holds now; of what cannot be read, whether a write may help.
    enum class Held { known, unreadable, unreachable };

    [[nodiscard]] Bytes original(std::uint32_t index, std::uint32_t count = 1) const;
    [[nodiscard]] Bytes found(std::uint32_t index, std::uint32_t count = 1) const;
    [[nodiscard]] std::uint64_t lbaOf(std::uint32_t index) const { return m_lbas[index]; }
    [[nodiscard]] std::uint64_t offsetOf(std::uint32_t index) const { return m_lbas[index] * m_sectorBytes; }
    [[nodiscard]] bool isNextTo(std::uint32_t index) const { return m_lbas[index] == m_lbas[index - 1] + 1; }
    void readAll(const std::vector<std::uint32_t>& sectors);
    bool readRun(std::uint32_t first, std::uint32_t count);
    void readSector(std::uint32_t index);
    SectorFinding judge(std::uint32_t index);
    SectorFinding compare(std::uint32_t index);
    [[nodiscard]] std::span<const std::uint64_t> stampable(std::uint32_t index) const;
    void loseSectors();
    void withhold();
    void saveFound();
    void noteTorn();
    void saveOriginals();
    void writeBack();
    void writeRun(std::uint32_t first, std::uint32_t count);
    void writeSector(std::uint32_t index);
    void makeDurable();
    void verify();
    void fail(std::uint32_t index, const zel::String& problem);
    [[nodiscard]] bool isToRestore(std::uint32_t index) const;
    [[nodiscard]] bool isToSave(std::uint32_t index) const;
    [[nodiscard]] bool has(SectorFinding finding) const;
    /// Calls `act(first, count)` for the runs of sectors for which `belongs(index)` holds.
    template <class Belongs, class Act>
    void forRuns(Belongs belongs, Act act) const;

    const RecoveryTask& m_task;
    const JournalSlot& m_slot;
    SectorMatcher& m_matcher;
    std::size_t m_sectorBytes;
    std::vector<std::uint64_t> m_lbas;  ///< rising
    zel::Buffer m_found;
    std::vector<Held> m_held;
    std::vector<bool> m_isLost;  ///< sectors whose originals the journal's own medium lost
    std::vector<SectorFinding> m_findings;
    bool m_isDriveGone = false;
    std::map<std::uint32_t, zel::String> m_problems;  ///< of failed sectors
};

}  // namespace libDrive2
