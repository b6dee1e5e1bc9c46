#pragma once

#include <span>
#include <vector>

#include "libDrive2/AddressStamp.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2 {

/// Tells whether sectors hold what a run wrote, or pieces of it.
class SectorMatcher {
public:
    /// `expected` holds whole sectors and must outlive the matcher.
    SectorMatcher(Bytes expected, std::size_t sectorBytes);

    [[nodiscard]] bool isExpected(Bytes sector) const;
    /// Whether any of it is of a stamp of this run, of whatever address.
    [[nodiscard]] bool hasStamp(Bytes sector) const;
    /// Whether the sector begins as one of the known contents (its original, the expected ones) and ends as
    /// another one. `isTwice`: with perhaps a piece of a third one in between, as the restoration of a torn
    /// sector may have been cut off too. Where the run wrote stamps, those of `lbas` and of the addresses
    /// that the sector itself names are known contents.
    [[nodiscard]] bool isTorn(Bytes sector, std::span<const std::uint64_t> lbas, Bytes original,
                              bool isTwice);

private:
    using Index = std::vector<std::uint32_t>;

    [[nodiscard]] Bytes content(std::uint32_t index) const {
        return m_expected.subspan(index * m_sectorBytes, m_sectorBytes);
    }
    [[nodiscard]] bool isOfRun(const std::optional<AddressStamp::Mark>& mark) const;
    void findStamps(Bytes sector, std::span<const std::uint64_t> lbas);
    [[nodiscard]] std::size_t longestBeginning(Bytes sector) const;
    [[nodiscard]] std::size_t longestEnd(Bytes sector);
    [[nodiscard]] bool isPiece(Bytes sector, std::size_t from, std::size_t bytes);

    Bytes m_expected;
    std::size_t m_sectorBytes;
    Index m_byBeginning;  ///< in the order of their bytes
    Index m_byEnd;        ///< in the order of their bytes from the last to the first; made when first needed
    std::vector<AddressStamp> m_stamps;              ///< those whose stamps are all expected
    std::vector<std::vector<std::uint8_t>> m_found;  ///< stamps that a torn sector may hold pieces of
    std::uint64_t m_stampsToTry = std::uint64_t{1} << 20;
    std::uint64_t m_piecesToCompare = std::uint64_t{1} << 23;
};

}  // namespace libDrive2
