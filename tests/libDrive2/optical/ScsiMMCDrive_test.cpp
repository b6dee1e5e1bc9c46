#include "libDrive2/ScsiMMCDrive.h"

#include "ScriptedUnit.h"
#include "libDrive2/OpticalReadDrives.h"

namespace libDrive2 {
namespace {

using Rig = Scripted<ScsiMMCDrive>;

const std::string kMixed = "001A 01 02  00 10 01 00 00000000  00 14 02 00 00010000  00 14 AA 00 00020000";

TEST(ScsiMMCDrive, TellsWhatTheMediumIs) {
    const std::string protection = configuration("0041", "0004 01 04 00000000");
    const std::tuple<std::string, Script, std::uint32_t> rows[] = {
        {"0008", {{"43", {kMixed}}}, kMediaCD | kMediaCDAudio | kMediaCDData},
        {"0009", {{"51", {disc("00")}}}, kMediaCD},
        {"0009", {{"51", {disc("02")}}}, kMediaCD | kMediaWriteProtected},
        {"000A", {{"51", {disc("02")}}}, kMediaCD},
        {"0012", {}, kMediaDVD | kMediaDVDRAM},
        {"0041", {{"46", {protection}}, {"AD01", {"0006 0000 02000000"}}}, kMediaBD | kMediaWriteProtected},
        {"0043", {}, kMediaBD},
        {"0053", {}, kMediaHDDVD},
        {"0000", {}, 0},
    };
    for (const auto& [profile, script, capabilities] : rows)
        EXPECT_EQ(Rig(profile, script).drive.mediaCapabilties(), capabilities) << profile;
    Rig capable("", {{"46", {configuration("0000", "0000 03 0C 00430000 00140100 00080000")}}});
    EXPECT_EQ(capable.drive.supportedCapabilties(), kMediaBD | kMediaDVD | kMediaCD);
    Rig features("", {{"46", {configuration("0014", "0033 02 04 00000000")}}});
    EXPECT_TRUE(features.drive.hasFeature(0x33, false));
    EXPECT_FALSE(features.drive.hasFeature(0x33, true));
}

TEST(ScsiMMCDrive, TellsStatesOfTrayAndMedium) {
    const std::tuple<const char*, std::string, Script, LIBDRIVE2_MEDIA_STATE> rows[] = {
        {"new", "0008", {{"00", {"!062800", "!062900", ""}}}, LIBDRIVE2_MEDIA_CORRECT},
        {"tray open", "0000", {{"00", {"!023A02"}}, {"4A", {"0006 04 10 0001 0000"}}}, LIBDRIVE2_MEDIA_NONE},
        {"loading", "0000", {{"00", {"!020401"}}}, LIBDRIVE2_MEDIA_BUSY},
        {"bad", "0000", {{"00", {"!023002"}}, {"4A", {"0006 04 10 0002 0000"}}}, LIBDRIVE2_MEDIA_INCORRECT},
        {"of no kind", "0000", {}, LIBDRIVE2_MEDIA_INCORRECT},
        {"taken", "0000", {{"00", {"!023002"}}, {"4A", {"0006 04 10 0003 0000"}}}, LIBDRIVE2_MEDIA_NONE},
    };
    for (const auto& [what, profile, script, state] : rows)
        EXPECT_EQ(Rig(profile, script).drive.mediaState(), state) << what;
    EXPECT_FALSE(Scripted<CDDrive>("0010").drive.isMediaCorrect());
    EXPECT_TRUE(Scripted<DVDDrive>("0010").drive.isMediaCorrect());
    for (const char* capacity : {"00000000 00000800", "!033100"}) {
        Rig rig("0009", {{"25", {capacity}}, {"51", {disc("00")}}});
        EXPECT_EQ(rig.drive.getSectorCount(), 0) << "nothing is recorded";
        EXPECT_EQ(rig.drive.getSectorSize(), 2048);
    }
}

TEST(ScsiMMCDrive, KnowsTheSpeedsOfItsCapabilitiesPage) {
    // Two that it lists, the second with constant angular velocity; an older drive with its highest one.
    const std::string upToHighest = "3F37F1777163" + std::string(20, '0') + "1B90";
    const std::tuple<std::string, std::string> rows[] = {
        {"002E 00 00 0000 0000 2A26" + upToHighest + std::string(20, '0') + "0002 00001B90 00010DC8",
         "BB00FFFF1B90 BB01FFFF0DC8 "},
        {"001A 00 00 0000 0000 2A12" + upToHighest, "BB00FFFF1B90 "}};
    for (const auto& [page, sent] : rows) {
        Rig rig("0009", {{"5A", {page}}});
        zel::Array<zel_write_speed_desc_t> found;
        EXPECT_TRUE(rig.drive.getReadWriteSpeeds(found)) << rig.drive.getLastErrorStr().utf8();
        for (const zel_write_speed_desc_t& speed : found)
            EXPECT_TRUE(rig.drive.setReadWriteSpeed(speed));
        EXPECT_EQ(rig.log, sent);
    }
}

TEST(ScsiMMCDrive, SetsSpeedsAsTheDriveDescribesThem) {
    Rig rig("0009",
            {{"AC00", {"00000014 00000000 1A000000 0004FFFF 00001B90 00001B91"}},
             {"AC10", {"00000024 00000000 00000000 00000D21 00010000 00001B90" + std::string(32, '1')}}});
    zel::Array<zel_write_speed_desc_t> speeds;
    speeds.resize(3);
    ASSERT_TRUE(rig.drive.getReadWriteSpeeds(speeds));
    ASSERT_EQ(speeds.size(), 1);
    EXPECT_TRUE(rig.drive.setReadWriteSpeed(speeds[0]));
    EXPECT_EQ(rig.log, "B60000000000000000001C:1A000000000000000004FFFF00001B90000003E800001B91000003E8 ");
    zel::Array<::scsi::mmc_performance_nom_desc_t> nominal;
    EXPECT_TRUE(rig.drive.getNominalPerformance(nominal, 1, false));
    EXPECT_EQ(nominal.size(), 1);
    EXPECT_FALSE(rig.drive.getNominalPerformance(nominal, 1, true)) << "the drive does not tell";
    Rig old("0009", {{"B6", {"!052000"}}});
    speeds[0].readSpeed = 0xFFFFFFFF;
    EXPECT_TRUE(old.drive.setReadWriteSpeed(speeds[0]));
    EXPECT_THAT(old.log, testing::EndsWith(" BB03FFFF1B91 "));
    Rig stubborn("0009", {{"B6", {"!044400"}}, {"BB", {"!052400"}}});
    EXPECT_TRUE(stubborn.drive.setReadWriteSpeed(speeds[0])) << "it keeps to its own";
    EXPECT_EQ(stubborn.drive.lastError, LIBDRIVE2_NO_ERROR);
    Rig pulled("0009", {{"B6", {"!023A00"}}});
    EXPECT_FALSE(pulled.drive.setReadWriteSpeed(speeds[0]));
    EXPECT_THAT(pulled.drive.getLastErrorStr().utf8(), testing::HasSubstr("setting the speed failed"));
    const std::tuple<const char*, std::uint32_t, const char*> rows[] = {
        {"0009", 8467, "48.0"}, {"0011", 22160, "16.0"}, {"0041", 17984, "4.0"}, {"0000", 4568, "0.0"}};
    for (const auto& [profile, speed, multiplier] : rows)
        EXPECT_EQ(Rig(profile).drive.writeSpeedMultiplier(speed).utf8(), multiplier);
}

TEST(ScsiMMCDrive, ReadsAndSeeksAsTheDriveCan) {
    const std::string streams = configuration("0010", "0107 03 04 00000000");
    const std::string sector(4096, '0');
    std::vector<std::uint8_t> data(2048);
    const Script rows[] = {{{"46", {streams}}, {"A800000000070000000180", {sector}}},
                           {{"46", {streams}}, {"280000000007", {sector}}},
                           {{"280000000007", {sector}}}};
    for (const Script& script : rows)
        EXPECT_TRUE(Rig("0010", script).drive.readStreaming(7, 1, data.data(), 2048));
    EXPECT_TRUE(Rig("0010", {{"2B", {"!052000"}}, {"280000000007", {sector}}}).drive.seekSector(7));
    Scripted<CDDrive> mixed("0008", {{"43", {kMixed}}});
    EXPECT_FALSE(mixed.drive.checkForDataTracks(0, 0x10000));
    EXPECT_TRUE(mixed.drive.checkForDataTracks(0, 0x10001));
    EXPECT_TRUE(mixed.drive.checkForDataTracks(0x1FFFF, 0x30000));
    EXPECT_FALSE(mixed.drive.checkForDataTracks(0x20000, 0x30000));
}

TEST(ScsiMMCDrive, WaitsAndTellsHowFarItCame) {
    Rig rig("000A", {{"00", {"!020407", "!020407", ""}}});
    EXPECT_TRUE(rig.drive.waitForWrite(900000, 100));
    EXPECT_EQ(rig.time.clock.now(), std::chrono::milliseconds(200));
    Rig stuck("000A", {{"00", {"!020404"}}});
    EXPECT_FALSE(stuck.drive.waitForWrite(900000, 100));
    EXPECT_EQ(stuck.drive.lastError, LIBDRIVE2_TIMEOUT);
    EXPECT_THAT(stuck.drive.getLastErrorStr().utf8(),
                testing::AllOf(testing::HasSubstr("within 900 s"), testing::HasSubstr("25 % are done")));
    EXPECT_EQ(stuck.time.clock.now(), std::chrono::seconds(900));
    Rig failed("000A", {{"00", {"!020407", "!030C00"}}});
    EXPECT_EQ(failed.drive.blankMedia(BlankType::full, true, 1000), LIBDRIVE2_MEDIA_ERROR);
    EXPECT_EQ(failed.drive.blankMedia(BlankType::minimal, false, 1000), LIBDRIVE2_NO_ERROR);
    EXPECT_TRUE(failed.drive.synchronizeCache(0x10, 0x10000, true));
    EXPECT_EQ(failed.log, "A110 A101 350200000010 ");
    EXPECT_FALSE(failed.drive.synchronizeCache(0x100000000, 1, true));
}

}  // namespace
}  // namespace libDrive2
