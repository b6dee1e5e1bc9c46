#pragma once

#include <map>

#include "libDrive2/JournalRecovery.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/journal/SectorMatcher.h"

namespace libDrive2 {

/// Puts back the sectors of one slot, all or none. The steps in their order: examine, save, write back,
/// verify.
class SlotRecovery {
public:
    SlotRecovery(const RecoveryTask& task, const JournalSlot& slot, SectorMatcher& matcher);

    /// Finds out what the sectors hold; writes nothing.
    void examine();
    [[nodiscard]] bool isAllEqual() const;
    /// What follows. Whether all sectors hold their originals, so that the slot may be closed.
    bool run();
    [[nodiscard]] const JournalSlot& slot() const { return m_slot; }
    void addTo(RecoveryReport& report) const;

private:
    /// What a sector holds now; of what cannot be read, whether a write may help.
    enum class Held { known, unreadable, unreachable };

    [[nodiscard]] Bytes original(std::uint32_t index, std::uint32_t count = 1) const;
    [[nodiscard]] Bytes found(std::uint32_t index, std::uint32_t count = 1) const;
    [[nodiscard]] std::uint64_t offsetOf(std::uint32_t index) const;
    void readAll(const std::vector<std::uint32_t>& sectors);
    void readSector(std::uint32_t index);
    SectorFinding judge(std::uint32_t index);
    SectorFinding compare(std::uint32_t index);
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
    zel::Buffer m_found;
    std::vector<Held> m_held;
    std::vector<bool> m_isLost;  ///< sectors whose originals the journal's own medium lost
    std::vector<SectorFinding> m_findings;
    bool m_isDriveGone = false;
    std::map<std::uint32_t, zel::String> m_problems;  ///< of failed sectors
};

}  // namespace libDrive2
