#pragma once

#include "../DriveTest.h"
#include "StampRound.h"
#include "quix5/ModuleDescriptor.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Finds drives that pretend to be larger than they are, or that lose, swap or repeat addresses.
///
/// How it works: sectors all over the drive are saved and stamped with their addresses; what the drive could
/// still have in a cache is displaced; then all are read back. A sector that holds another one's stamp is the
/// same one behind two addresses; one that holds what it held before has lost what was written. Where that is
/// so of all to the end of the drive, or from a distance on, the exact address is found by further rounds in
/// which the place is cut into ever smaller parts. Each round puts back what it overwrote before the next one
/// begins.
class DRIVETEST_API CapacityTest : public DriveTest {
public:
    explicit CapacityTest(Drive& tested);
    explicit CapacityTest(libDrive2::SharedDrive tested);
    ~CapacityTest() override;

    static void init(Test& test);
    static quix5::TestOutlook foresee(std::uint64_t sectors, std::uint32_t sectorBytes);
    TestResult runTest() override;

private:
    /// Whether an address of a round has what is searched for.
    using Has = std::function<bool(const AddressFindings& findings, std::uint64_t lba)>;

    /// A result ends the test.
    std::optional<TestResult> round(std::vector<std::uint64_t> lbas, AddressFindings& findings);
    std::optional<TestResult> endOf(StampRound::End end, const std::vector<std::uint64_t>& lost);
    std::optional<TestResult> tellOfLoss(Bracket bracket);
    std::optional<TestResult> tellOfRepeat(const Repeat& repeat);
    /// Leaves in `bracket` two neighbours. `partner` is also stamped, that far below each address.
    std::optional<TestResult> narrow(Bracket& bracket, std::uint64_t partner, const Has& has);
    void sendCapacity(Event& event, std::uint64_t realSectors);
    void tellOf(const AddressFindings& findings);
    void tellOf(const AddressFinding& finding, const AddressFindings& findings);
    void tellOfSector(Event& event, const AddressFinding& finding);

    zel::Logger& m_logger;
    RangePlan m_range;
    libDrive2::AddressStamp m_stamp;
    int m_rounds = 0;
};

}  // namespace libDriveTest
