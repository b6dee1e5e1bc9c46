#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "AddressFindings.h"
#include "libDrive2/AddressStamp.h"
#include "libDrive2/Drive.h"

namespace libDriveTest {

/// Stamps sectors with their addresses, reads them back, and puts back what they held. All are read before
/// the first is written: on a drive that has a sector behind several addresses, each of these is then known
/// to hold the same. For the same reason the order of writing and putting back are each other's reverse.
class StampRound {
public:
    struct Work {
        libDrive2::Drive& drive;
        const libDrive2::AddressStamp& stamp;
        bool preserve;
        /// Whether errors of that kind end the test instead of counting against the sector.
        std::function<bool(libDrive2::_LIBDRIVE2_ERROR_TYPES)> endsTest;
        /// Called between transfers with what part of the round is done, in percent; true ends the round.
        std::function<bool(int)> stops;
    };
    /// Why a round did not come to its end.
    enum class End : std::uint8_t {
        complete,
        stopped,
        failed,  ///< the drive's last error tells why
    };

    /// `lbas` rise.
    StampRound(const Work& work, std::vector<std::uint64_t> lbas);

    End run();
    /// As far as the round came. Those of a complete one are of all addresses.
    [[nodiscard]] const AddressFindings& findings() const { return m_findings; }
    /// Sectors that do not hold again what they held: none as a rule.
    [[nodiscard]] const std::vector<std::uint64_t>& lost() const { return m_lost; }

private:
    bool save();
    bool saveRun(std::uint64_t lba, std::uint32_t count);
    bool saveSingly(std::uint64_t lba, std::uint32_t count);
    void keep(std::uint64_t lba, const std::uint8_t* sectors, std::uint32_t count);
    bool leaveUnstable();
    bool protect();
    bool writeStamps();
    bool displaceCache();
    bool readStamps();
    void putBack();
    bool writeBack(std::uint64_t lba);
    [[nodiscard]] AddressFinding judge(std::uint64_t lba) const;
    [[nodiscard]] bool isSaved(std::uint64_t lba) const;
    [[nodiscard]] const std::uint8_t* saved(std::uint64_t lba) const;
    /// Calls `act(lba, count, number)` for the runs of saved sectors, rising; `number` counts sectors. False
    /// as soon as one is.
    template <class Act>
    bool forRuns(Act act) const;
    void find(std::uint64_t lba, AddressState state) { m_findings.push_back({lba, state, 0}); }
    bool goesOn(int from, int to, std::size_t done, std::size_t all);
    bool failsAsWhole();

    Work m_work;
    std::uint32_t m_sectorBytes;
    std::uint64_t m_sectorCount;
    std::vector<std::uint64_t> m_lbas;
    std::vector<std::uint64_t> m_savedLbas;  ///< rising: whole physical sectors, as far as they can be read
    std::vector<std::uint8_t> m_saved;
    zel::Buffer m_buffer;
    AddressFindings m_findings;
    std::vector<std::uint64_t> m_lost;
    bool m_isProtected = false;
    std::size_t m_stamped = 0;  ///< how many of m_lbas may have been written to
    End m_end = End::complete;
};

}  // namespace libDriveTest
