#include "libDrive2/RecordableDrives.h"
#include "ScriptedUnit.h"

namespace libDrive2 {
namespace {

struct Events : RecordableDriveCallback {
    explicit Events(std::string& to) : log(to) {}
    void handleResult(std::int32_t type) override { log += "event" + std::to_string(type) + ' '; }
    std::string& log;
};

/// A medium that holds nothing yet, but for what the script says.
template <class Class>
struct Rig : Scripted<Class> {
    explicit Rig(const std::string& profile, Script script = {})
        : Scripted<Class>(profile, withMedium(script, profile)) {
        this->drive.setRecordableCallback(std::make_unique<Events>(this->log));
    }
    static Script withMedium(Script script, const std::string& profile) {
        script.merge(Script{{"25", {"00000000 00000800"}},
                            {"46", {configuration(profile, "002D 03 04 40000000 002F 03 04 40000000")}},
                            {"51", {disc("00")}},
                            {"52", {track("01", "40", "00000000", "00008000")}},
                            {"5A", {"003A 00 00 0000 0000 0532" + std::string(100, '0')}}});
        return script;
    }
};

const std::string kRaw = "000000 10 00230540 01 000800 00230540 00 000800";
const std::string kFormatted = "000000 10 00230540 02 000800 00230540 98 000800";
const std::string kPage = "55100000000000003C:00000000000000000532";
const std::string kClosed1 = "35 5B0101000001 5B0102 ";

/// A recording of 64 sectors as the tests make it; what the drive was sent for it.
template <class Class>
void records(const std::string& profile, const Script& script, std::uint64_t start, std::uint32_t unit,
             const std::string& before, const std::string& after) {
    SCOPED_TRACE(profile + before);
    Rig<Class> rig(profile, script);
    RecordableDrive& drive = rig.drive;
    EXPECT_TRUE(drive.isMediaCorrect());
    EXPECT_TRUE(drive.setWriteParameters(false));
    EXPECT_EQ(drive.prepareForWriting(64), LIBDRIVE2_NO_ERROR) << drive.getLastErrorStr().utf8();
    EXPECT_TRUE(drive.reserveSectors(64)) << drive.getLastErrorStr().utf8();
    EXPECT_EQ(drive.getNextWriteAddress(), start);
    ASSERT_EQ(drive.numCoincidentWriteSectors(), unit);
    EXPECT_EQ(rig.log, before);
    std::vector<std::uint8_t> data(std::size_t{unit} * 2048);
    for (std::uint64_t at = start; at < start + 64; at += unit)
        EXPECT_TRUE(drive.writeSector(drive.getNextWriteAddress(at), unit, data.data(), unit * 2048));
    EXPECT_FALSE(drive.writeSector(start + 0x1000000, unit, data.data(), unit * 2048)) << "beyond the medium";
    rig.log.clear();
    EXPECT_TRUE(drive.closeOpenTrack()) << drive.getLastErrorStr().utf8();
    EXPECT_EQ(drive.getNextWriteAddress(), start) << "what was written is read from here";
    EXPECT_TRUE(drive.closeOpenSession()) << drive.getLastErrorStr().utf8();
    EXPECT_EQ(rig.log, after);
}

TEST(RecordableDrives, SendWhatSequentialMediaNeed) {
    // A second session; a full CD-RW, and one with room; a DVD+R whose track only answers to the invisible
    // one's number; a DVD-R whose track was begun.
    records<CDRecordableDrive>("0009",
                               {{"51", {disc("01")}}, {"52", {track("03", "40", "00012345", "00001000")}}},
                               0x12345, 32, kPage + "41C408 event5 ", "35 5B0101000003 5B0102 ");
    records<CDRecordableDrive>("000A", {{"51", {disc("02")}}, {"00", {"", "!020407", "!062800", ""}}}, 0, 32,
                               kPage + "41C408 event3 A111 " + kPage + "41C408 event5 ", kClosed1);
    records<CDRecordableDrive>("000A", {{"51", {disc("01")}}}, 0, 32, kPage + "41C408 event5 ", kClosed1);
    const std::string dvdR = kPage + "60E508100000000000000010 ", dvdRw = kPage + "60C50810 ";
    const std::string blanked = dvdRw + "event3 A110 " + dvdRw + "event5 ";
    records<DVDMinusDrive>("0011", {}, 0, 16, dvdR + "event5 ", kClosed1);
    records<DVDMinusDrive>("0014", {{"51", {disc("02")}}}, 0, 16, blanked, kClosed1);
    // The one session of two layers stays open for what comes next.
    records<DVDMinusDrive>("0015", {}, 0, 16, kPage + "60050810 event5 ", "35 5B0101000001 ");
    // A DVD-RW that takes no increments was blanked in a hurry; a blank one that does is written as it is.
    records<DVDMinusDrive>("0017", {}, 0, 16, blanked, kClosed1);
    records<DVDMinusDrive>("0014",
                           {{"46", {configuration("0014", "0021 03 04 00000000 002F 03 04 40000000")}}}, 0,
                           16, dvdRw + "event5 ", kClosed1);
    records<DVDPlusDrive>("001B",
                          {{"51", {disc("01")}},
                           {"52", {track("01", "00", "-", "00000000")}},
                           {"5201000000FF", {track("02", "00", "00000400", "00000040")}}},
                          0x400, 16, "event5 ", "35 5B0101000002 5B0102 ");
    records<DVDMinusDrive>("0011", {{"52", {track("01", "20", "00000400", "00000040")}}}, 0x400, 16,
                           dvdR + "event5 ", kClosed1);
    records<BDREDrive>("0041", {}, 0, 32, "event5 ", kClosed1);
}

TEST(RecordableDrives, SendWhatRandomMediaNeed) {
    const std::string packets = kPage + "002508000000000000000020 ";
    // A CD-RW that holds tracks, and a DVD-RAM without a format, are formatted.
    records<CDRROWDrive>("000A",
                         {{"23", {"000000 10 00054600 02 000800 00047E00 40 000020"}},
                          {"52", {track("01", "30", "-", "00000000")}}},
                         0, 32, packets + "event0 0411:0002000800047E0040000020 " + packets, "35 ");
    // Its drive judges the parameters by the medium as it is, and wants to be told that the options count.
    records<CDRROWDrive>(
        "000A",
        {{"23", {"000000 10 00054600 02 000800 00047E00 40 000020"}},
         {"52", {track("01", "30", "-", "00000000")}},
         {"55", {"!052600", ""}},
         {"04", {"!052600", ""}}},
        0, 32, packets + "event0 0411:0002000800047E0040000020 0411:0082000800047E0040000020 " + packets,
        "35 ");
    const std::string restricted = kPage + "002508000000000000000010 ";
    records<DVDMinusDrive>("0013", {{"23", {kFormatted}}, {"55", {"!052600"}}}, 0, 16, restricted, "35 ");
    // Its format was interrupted; begun again it goes on behind the recording.
    records<DVDPlusDrive>("001A",
                          {{"51", {disc("13", "01"), disc("13", "01"), disc("13", "01"), disc("13", "02")}},
                           {"23", {kFormatted}}},
                          0, 16, "event0 0411:000200080023054098000001 ", "35 5B0102 ");
    records<DVDRAMRWDrive>("0012", {{"23", {kRaw, kRaw, kFormatted}}}, 0, 16,
                           "event0 0411:0002000800230540000008 ", "35 ");
}

TEST(RecordableDrives, LayersJumpWhereTheDriveSays) {
    const auto at = [](const char* lba) { return track("01", "20", lba, "00008000"); };
    Rig<DVDMRDLLJDrive> rig(
        "0016",
        {{"5200", {at("00000000")}},
         {"5201",
          {track("01", "40", "00000000", "00008000"), at("00000010"), at("00200000"), at("00200010")}}});
    ASSERT_TRUE(rig.drive.setWriteParameters(false) && rig.drive.reserveSectors(64));
    EXPECT_EQ(rig.log, kPage + "44C508 event5 ");
    for (const char* pass : {"writing", "reading back"}) {
        std::vector<std::uint64_t> lbas;
        for (const std::uint64_t position : {0, 16, 32, 48})
            lbas.push_back(rig.drive.getNextWriteAddress(position));
        EXPECT_THAT(lbas, testing::ElementsAre(0, 16, 0x200000, 0x200010)) << pass;
    }
    EXPECT_EQ(rig.drive.getNextWriteAddress(40), 0x200008);
    EXPECT_EQ(rig.drive.getSectorCount(), 0x200020);
}

template <class Class>
void refuses(const std::string& profile, const Script& script, _LIBDRIVE2_ERROR_TYPES result,
             const std::string& log) {
    Rig<Class> rig(profile, script);
    EXPECT_EQ(rig.drive.prepareForWriting(0), result) << profile << log;
    EXPECT_NE(rig.drive.getLastErrorStr().utf8(), "");
    EXPECT_EQ(rig.log, log);
}

TEST(RecordableDrives, TellWhyTheyCannotPrepare) {
    constexpr auto kUnsupported = LIBDRIVE2_NOT_SUPPORTED, kBroken = LIBDRIVE2_DRIVE_ERROR;
    const std::vector<std::string> closed = {disc("02")};
    refuses<BDREDrive>("0042", {{"51", {disc("01")}}}, kUnsupported, "");
    refuses<DVDPlusDrive>("0009", {}, kUnsupported, "");
    refuses<CDRecordableDrive>("0009", {{"51", {"00"}}}, kBroken, "");
    refuses<CDRecordableDrive>("000A", {{"51", closed}, {"A1", {"!035100"}}}, kBroken, "event3 A111 event4 ");
    refuses<DVDRAMRWDrive>("0012", {{"23", {"000000 08 00230540 01 000800"}}}, kUnsupported,
                           "event0 event2 ");
    refuses<BDREDrive>("0043", {{"23", {kRaw}}, {"00", {"!020404", "!020404", "!033100"}}}, kBroken,
                       "event0 0411:0002000800230540000008 event1 ");
}

TEST(RecordableDrives, RefuseWhatTheMediumDoesNotTake) {
    Rig<CDRecordableDrive> cd("0009");
    EXPECT_FALSE(cd.drive.reserveSectors(0x8001));
    EXPECT_FALSE(cd.drive.reserveSectors(0));
    EXPECT_TRUE(cd.drive.setWriteParameters(true));
    EXPECT_THAT(cd.log, testing::EndsWith(kPage + "51C408 "));
    Rig<BDREDrive> bd("0043", {{"23", {kFormatted}}});
    EXPECT_FALSE(bd.drive.setWriteParameters(true)) << "there is no test recording";
    EXPECT_FALSE(bd.drive.reserveSectors(0x230541));
    EXPECT_EQ(bd.drive.lastError, LIBDRIVE2_BAD_ARGUMENT);
    Rig<BDREDrive> once("0042", {{"23", {kFormatted}}});
    EXPECT_TRUE(once.drive.reserveSectors(0x40) && once.drive.reserveSectors(0x40));
    EXPECT_EQ(once.drive.getNextWriteAddress(), 0x40) << "behind the first recording";
    EXPECT_EQ(once.drive.getFreeSectors(), 0x230540 - 0x80);
    Rig<BDREDrive> none("0041", {{"51", {disc("02")}}, {"52", {track("01", "00", "-", "00000000")}}});
    EXPECT_EQ(none.drive.prepareForWriting(0), LIBDRIVE2_NO_ERROR) << "a closed medium";
    EXPECT_EQ(none.drive.getFreeSectors(), 0);
    EXPECT_EQ(none.log, "event6 ");
}

TEST(RecordableDrives, WaitForAFullCacheButNotForEver) {
    std::vector<std::uint8_t> data(64 * 2048);
    Rig<CDRecordableDrive> rig("0009", {{"2A", {"!020408", "!020408", ""}}});
    ASSERT_TRUE(rig.drive.reserveSectors(64));
    EXPECT_TRUE(rig.drive.writeSector(0, 64, data.data(), 64 * 2048));
    EXPECT_EQ(rig.log, "event5 W00000000+20 W00000000+20 W00000000+20 W00000020+20 ");
    Rig<CDRecordableDrive> stuck("0009", {{"2A", {"!020408"}}});
    ASSERT_TRUE(stuck.drive.reserveSectors(64));
    const auto before = stuck.time.clock.now();
    EXPECT_FALSE(stuck.drive.writeSector(0, 32, data.data(), 32 * 2048));
    EXPECT_EQ(stuck.drive.lastError, LIBDRIVE2_BUSY);
    EXPECT_GE(stuck.time.clock.now() - before, std::chrono::seconds(200)) << "a calibration may take as long";
}

TEST(RecordableDrives, WaitForDrivesThatAreReadyBeforeTheyAreDone) {
    Rig<CDRecordableDrive> rig("0009", {{"51", {disc("00"), "!020407", "!020408", disc("01")}}});
    const auto before = rig.time.clock.now();
    EXPECT_TRUE(rig.drive.closeOpenTrack()) << rig.drive.getLastErrorStr().utf8();
    EXPECT_EQ(rig.time.clock.now() - before, std::chrono::milliseconds(200));
    // One that closes only when it pleases, and one whose track the flush has closed.
    Rig<DVDPlusDrive> late("001B", {{"5B", {"!020407", "!020408", ""}}}), done("001B", {{"5B", {"!052C00"}}});
    Rig<CDRecordableDrive> ended("0009", {{"5B", {"!052C00"}}});
    EXPECT_TRUE(late.drive.reserveSectors(16) && late.drive.closeOpenTrack());
    EXPECT_EQ(late.log, "event5 35 5B0101000001 5B0101000001 5B0101000001 ");
    EXPECT_TRUE(ended.drive.reserveSectors(16) && ended.drive.closeOpenTrack());
    EXPECT_TRUE(done.drive.reserveSectors(16));
    EXPECT_FALSE(done.drive.closeOpenTrack());
}

TEST(RecordableDrives, SendWhatTimedOutAgainOnlyWhereThatDoesNoHarm) {
    const std::vector<std::uint8_t> data(32 * 2048);
    const auto sent = [&data](auto rig, std::uint32_t unit) {
        rig.drive.setRetryCount(2);
        rig.drive.setRetryCallbackBehavior(LIBDRIVE2_RETRY_AND_REPORT);
        EXPECT_TRUE(rig.drive.reserveSectors(64));
        rig.log.clear();
        EXPECT_FALSE(rig.drive.writeSector(0, unit, data.data(), unit * 2048));
        EXPECT_EQ(rig.drive.lastError, LIBDRIVE2_TIMEOUT);
        return rig.log;
    };
    const std::vector<std::string> late = {"late"};
    EXPECT_EQ(sent(Rig<CDRecordableDrive>("0009", {{"2A", late}}), 32), "W00000000+20 ");
    EXPECT_EQ(sent(Rig<BDREDrive>("0042", {{"2A", late}, {"23", {kFormatted}}}), 32), "W00000000+20 ");
    EXPECT_EQ(sent(Rig<DVDPlusDrive>("001A", {{"2A", late}, {"23", {kFormatted}}}), 16),
              "W00000000+10 W00000000+10 W00000000+10 ");
}

}  // namespace
}  // namespace libDrive2
