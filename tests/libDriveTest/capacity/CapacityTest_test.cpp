#include "libDriveTest/capacity/CapacityTest.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "libDriveTest/FaultyDriveFixture.h"
#include "libDriveTest/capacity/AddressChoice.h"

namespace libDriveTest {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using enum TestResult::Code;

class Capacity : public FaultyDriveFixture {
protected:
    TestResult on(const std::string& locator, const std::string& given = "NumberOfAddresses=256") {
        open("sim:disk," + locator);
        return run<CapacityTest>(given);
    }
    /// How often an event was sent.
    [[nodiscard]] std::ptrdiff_t count(const std::string& key) const {
        return std::ranges::count_if(host.events, [&](const auto& event) { return event.key == key; });
    }
};

TEST_F(Capacity, AnHonestDriveIsTold) {
    EXPECT_EQ(on("sectors=10000"), PASS);
    EXPECT_EQ(events(), "INFORMATIVE capacityTrue(addresses=256, sectors=10000); ");
    EXPECT_EQ(contents(), before);
    for (const char* const few : {"NumberOfAddresses=255", "NumberOfAddresses=8193"})
        EXPECT_EQ(on("sectors=10000", few), BADPARAMS);
}

/// Of each kind of lie the exact sector is named, and all holds again what it held.
TEST_F(Capacity, TheExactEndIsNamed) {
    struct Lie {
        std::string locator;
        std::string first, told;
    };
    for (const auto& [locator, first, told] : {
             Lie{"sectors=10000,real-sectors=6000,beyond=drop", "capacityLost", "sector=6000"},
             Lie{"sectors=10000,real-sectors=9999,beyond=zeros", "capacityLost", "sector=9999"},
             Lie{"sectors=10000,real-sectors=1,beyond=zeros", "capacityLost", "sector=1"},
             Lie{"sectors=9000,real-sectors=3000,beyond=wrap", "capacityRepeats", "sector=3000, other=0"},
             Lie{"sectors=9000,real-sectors=8191,beyond=wrap", "capacityRepeats", "sector=8191, other=0"},
             Lie{"sectors=9000,real-sectors=1237,beyond=wrap", "capacityRepeats", "sector=1237, other=0"},
             Lie{"sectors=9000,real-sectors=2,beyond=wrap", "capacityRepeats", "sector=2, other=0"},
         }) {
        EXPECT_EQ(on(locator), FAIL) << locator;
        EXPECT_THAT(events(), AllOf(testing::StartsWith("ERR " + first + "("), HasSubstr(told + ",")))
            << locator;
        EXPECT_EQ(contents(), before) << locator;
        EXPECT_FALSE(keeper.account.empty()) << locator;
    }
}

TEST_F(Capacity, WhatIsNotTheSameTwiceIsLeftAlone) {
    EXPECT_EQ(on("sectors=10000,real-sectors=5000,beyond=garbage"), FAIL);
    EXPECT_THAT(events(), AllOf(testing::StartsWith("ERR capacityLost(sector=5000,"),
                                HasSubstr("ERR addressUnstable(sector=9999)")));
    EXPECT_EQ(faulty->trace.find("w9999"), std::string::npos);
}

TEST_F(Capacity, SingleFaultsAreNamedAndAreNoFalseCapacity) {
    EXPECT_EQ(on("sectors=10000,bad-write=2047,corrupt=5000"), FAIL);
    EXPECT_EQ(events(), "ERR writeSectorErr(WriteSector=2047); ERR addressUnstable(sector=5000); ");
    EXPECT_THAT(keeper.account, testing::EndsWith("; 2047+1 unwritable; 5000+1 wrongData; "));
}

/// However a run is stopped, all holds again what it held; also where several addresses are one sector.
TEST_F(Capacity, AStopPutsBackEverything) {
    for (const char* const beyond : {"wrap", "drop"})
        for (int checks = 0; checks < 1200; checks += 97) {
            open(std::string("sim:disk,sectors=5000,real-sectors=3000,beyond=") + beyond);
            stopAfter(checks);
            const TestResult ended = run<CapacityTest>("NumberOfAddresses=256");
            EXPECT_EQ(ended, checks < 1000 ? TestResult(USERABORTED) : ended) << checks;
            EXPECT_EQ(contents(), before) << beyond << checks;
        }
}

/// Every transfer fails once: no byte is lost but where the drive takes no more writes.
TEST_F(Capacity, AFailureAnywhereLosesNothing) {
    open("sim:disk,sectors=2000");
    for (int n = 1; n < 2000; n += 31) {
        faulty->failures = {{n, FaultyHandle::Error(1)}};
        faulty->forGood = false;
        (void)run<CapacityTest>("NumberOfAddresses=256");
        ASSERT_EQ(contents(), before) << n;
    }
}

TEST(AddressChoice, AnyPeriodOfTheUnitIsFound) {
    for (const std::uint64_t sectors : {300U, 9000U, 9216U}) {
        const auto chosen = chooseAddresses(sectors, 512, 256, 1);
        EXPECT_EQ(chosen.size(), 256U);
        EXPECT_TRUE(std::ranges::is_sorted(chosen));
        EXPECT_EQ(chosen.front(), 0U);
        EXPECT_EQ(chosen.back(), sectors - 1);
        for (std::uint64_t period = 2; period < sectors; ++period) {
            std::vector<char> isTaken(period);
            ASSERT_TRUE(std::ranges::any_of(
                chosen, [&](std::uint64_t lba) { return std::exchange(isTaken[lba % period], 1) != 0; }))
                << sectors << " repeats after " << period;
        }
    }
    const auto huge = chooseAddresses(std::uint64_t{1} << 40, 4096, 8192, 2);
    EXPECT_EQ(huge.size(), 8192U);
    for (const unsigned bit : {28, 32, 33, 39})
        for (const int beside : {-1, 0, 1})
            EXPECT_TRUE(std::ranges::binary_search(
                huge, (std::uint64_t{1} << bit) + static_cast<std::uint64_t>(beside)));
    EXPECT_EQ(chooseAddresses(100, 512, 256, 3).size(), 100U);
}

TEST(AddressFindings, SwappedSectorsDoNotRepeat) {
    using enum AddressState;
    const AddressFindings swapped{{1, elsewhere, 5}, {3, good, 0}, {5, elsewhere, 1}};
    EXPECT_FALSE(findRepeat(swapped));
    EXPECT_FALSE(findLoss(swapped));
    // Only what cannot be read at the end is no false capacity.
    EXPECT_FALSE(findLoss({{1, good, 0}, {3, unreadable, 0}, {5, unreadable, 0}}));
    EXPECT_EQ(findLoss({{1, good, 0}, {3, unreadable, 0}, {5, lost, 0}})->above, 3U);
    EXPECT_FALSE(findLoss({{1, lost, 0}, {3, lost, 0}, {5, good, 0}}));
    const auto repeat = findRepeat({{0, elsewhere, 9}, {3, elsewhere, 15}, {9, good, 0}, {15, good, 0}});
    EXPECT_EQ(repeat->low, 0U);
    EXPECT_EQ(repeat->high, 9U);
    EXPECT_EQ(repeat->period, 3U);
}

}  // namespace
}  // namespace libDriveTest
