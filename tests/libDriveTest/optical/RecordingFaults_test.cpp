#include "OpticalFixture.h"
#include "libDrive2/RecordableDrives.h"
#include "libDriveTest/optional/libScsi2/PatternTestMMC.h"
#include "libDriveTest/optional/libScsi2/RandomWriteTestMMC.h"
#include "libDriveTest/optional/libScsi2/ReadPerformanceTest.h"

namespace libDriveTest {
namespace {

using testing::StartsWith;

/// Recordings on drives that refuse, fail or are pulled.
class RecordingFaults : public OpticalFixture {};

TEST_F(RecordingFaults, StreamToTheEndOfTheMediumAsItIsThen) {
    // A CD-RW holds less once it is formatted, which is between two speeds.
    const auto cd = open<libDrive2::CDRROWDrive>("cdrw,sectors=8192");
    EXPECT_THAT(OpticalFixture::run<RandomWriteTestMMC>(*cd, "NumberOfSeeks=4"), StartsWith("PASS"));
    EXPECT_EQ(unit->asked[0xBB], "") << "the drive refused to stream";
}

TEST_F(RecordingFaults, EndWhereverTheDriveIsPulled) {
    const auto runOn = [this](std::uint64_t goneAt, std::uint64_t& commands) {
        const auto disc = open<libDrive2::DVDPlusDrive>("dvd+r,sectors=1024,speed=1");
        unit->goneAt = goneAt;
        const std::string came = OpticalFixture::run<PatternTestMMC>(*disc, "NumberOfSeeks=48 RetryCount=0");
        commands = unit->commands;
        return came.substr(0, came.find(';')) + (unit->last != 0 ? " " + std::to_string(unit->last) : "");
    };
    std::uint64_t all = 0, sent = 0;
    EXPECT_EQ(runOn(~std::uint64_t{0}, all), "PASS");
    // The last two: for the default speed, and to allow the medium's removal.
    for (std::uint64_t k = 20; k <= all; ++k) {
        EXPECT_EQ(runOn(k, sent), k + 2 <= all ? "CANNOTRUN 30" : "PASS 30") << k;
        EXPECT_LE(sent, k + 4);
    }
}

TEST_F(RecordingFaults, TellTheDrivesOwnWords) {
    for (const auto& [fault, words] :
         {std::pair(",bad=20", "(sense 03/11/00)"), {",bad-write=20", "(sense 03/"}}) {
        const auto disc = open<libDrive2::DVDPlusDrive>(std::string("dvd+rw,sectors=1024,speed=1") + fault);
        EXPECT_THAT(OpticalFixture::run<PatternTestMMC>(*disc, "NumberOfSeeks=48 RetryCount=0"),
                    StartsWith("FAIL"));
        EXPECT_THAT(lines("PatternTestMMC", 3), testing::HasSubstr(words));
    }
    const auto disc = open<libDrive2::ScsiMMCDrive>("cdrom,bad=100");
    (void)OpticalFixture::run<ReadPerformanceTest>(*disc, "EndRange=6000");
    EXPECT_THAT(lines("ReadPerformanceTest", 3), testing::HasSubstr("(sense 03/11/00)"));
}

TEST_F(RecordingFaults, SendNothingToADriveThatIsGone) {
    const auto disc = open<libDrive2::DVDPlusDrive>("dvd+r,sectors=1024,speed=1");
    int writes = 0;
    unit->changes[0x2A] = [&](std::uint8_t*, libDrive2::ScsiResponse& response) {
        if (++writes < 2)
            return;
        response = {};
        response.delivery = {libDrive2::LIBDRIVE2_NO_ACCESS, "gone"};
        unit->asked.clear();
    };
    EXPECT_THAT(OpticalFixture::run<PatternTestMMC>(*disc, "NumberOfSeeks=48 RetryCount=0"),
                StartsWith("CANNOTRUN"));
    EXPECT_EQ(writes, 2);
    EXPECT_THAT(unit->asked, testing::ElementsAre(testing::Pair(0x1E, testing::_)));
}

TEST_F(RecordingFaults, CompareWithoutUnitAccessWhereTheDriveRefusesIt) {
    const auto disc = open<libDrive2::DVDPlusDrive>("dvd+rw,sectors=1024,speed=1");
    unit->changes[0x28] = [&](std::uint8_t*, libDrive2::ScsiResponse& response) {
        if (!unit->asked[0x28].starts_with("2808"))
            return;
        response.status = 2;
        response.senseBytes = 18;
        response.sense = {0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 0};
    };
    EXPECT_THAT(OpticalFixture::run<PatternTestMMC>(*disc, "NumberOfSeeks=48"), StartsWith("PASS"));
    EXPECT_TRUE(
        host.logged("the drive refuses reads that come from the medium alone; it may answer from its cache"));
}

}  // namespace
}  // namespace libDriveTest
