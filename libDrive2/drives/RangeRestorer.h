#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "libDrive2/Drive.h"
#include "zel/Buffer.h"

namespace libDrive2 {

/// Puts ranges of a drive, or scattered sectors, back from what its journal holds of them, as long as the
/// drive answers.
class RangeRestorer {
public:
    /// All must outlive it; `isSameDrive` may be null, see Drive::restoreProtected().
    RangeRestorer(Drive& drive, SectorJournal& journal, const std::function<bool()>& isSameDrive);
    /// Takes exactly what one protection was given. True when all of it holds its data again, durably where
    /// the journal outlives a crash; else `outcome` is told what is left and why.
    bool restore(const std::vector<SectorSpan>& spans, RestoreOutcome& outcome);

private:
    bool isAsBefore();
    bool putBack(RestoreOutcome& outcome);
    void settle();
    void compare(std::uint32_t first, std::uint32_t count);
    void writeDiffering();
    void writeRun(std::uint32_t first, std::uint32_t count);
    template <class Operation>
    bool attempt(Operation operation);
    bool answers();
    bool waitForReturn();
    bool comesBack();
    void addLeft(RestoreOutcome& outcome) const;
    [[nodiscard]] bool isNextTo(std::uint32_t index) const { return m_lbas[index] == m_lbas[index - 1] + 1; }
    [[nodiscard]] bool differsAnywhere() const;

    Drive& m_drive;
    SectorJournal& m_journal;
    const std::function<bool()>& m_isSameDrive;
    const std::uint32_t m_sectorBytes;
    const std::uint64_t m_sectorCount;
    const std::uint32_t m_pieceSectors;  ///< of a transfer, at most
    std::vector<std::uint64_t> m_lbas;   ///< rising
    std::uint32_t m_count = 0;
    zel::Buffer m_original;
    zel::Buffer m_found;
    std::vector<bool> m_differs;  ///< by sector; unread ones count as different
    bool m_isDurable = false;
    bool m_isGone = false;
    std::uint32_t m_setbacks = 0;  ///< since the drive last answered
    std::uint32_t m_timeouts = 0;
    zel::String m_reason;
};

}  // namespace libDrive2
