#include <gmock/gmock.h>

#include <cstring>

#include "Hex.h"
#include "libDrive2/commands/MmcCommands.h"
#include "libDrive2/commands/MmcParameters.h"

namespace libDrive2::mmc {

using testing::ElementsAre, testing::FieldsAre, testing::IsEmpty, testing::Optional;

/// Those that drives are sent in the tests of the drive classes are not repeated.
TEST(MmcCommands, HaveTheBytesOfTheStandard) {
    const std::pair<ScsiRequest, const char*> rows[] = {
        {getConfiguration(0x0107, 0x0200), "in 46 02 01 07 00 00 00 02 00 00"},
        {getMediaEvent(8), "in 4A 01 00 00 10 00 00 00 08 00"},
        {readDiscInformation(34), "in 51 00 00 00 00 00 00 00 22 00"},
        {readTrackInformation(TrackAddress::lba, 0x12345678, 48), "in 52 00 12 34 56 78 00 00 30 00"},
        {readTrackInformation(TrackAddress::track, kInvisibleTrack, 48), "in 52 01 00 00 00 FF 00 00 30 00"},
        {readToc(1, 0x324), "in 43 00 00 00 00 00 01 03 24 00"},
        {readFormatCapacities(252), "in 23 00 00 00 00 00 00 00 FC 00"},
        {readWriteProtection(false, 8), "in AD 00 00 00 00 00 00 C0 00 08 00 00"},
        {getNominalPerformance(false, 0x0102), "in AC 10 00 00 00 00 00 00 01 02 00 00"},
        {getNominalPerformance(true, 1), "in AC 14 00 00 00 00 00 00 00 01 00 00"},
        {getWriteSpeeds(64), "in AC 00 00 00 00 00 00 00 00 40 03 00"},
        {synchronizeCache(0x12345678, 0x9ABC, true), "no 35 02 12 34 56 78 00 9A BC 00"},
    };
    for (const auto& [request, bytes] : rows)
        EXPECT_EQ(shown(request), bytes);
}

TEST(MmcCommands, ParametersAreSentAsTheStandardWritesThem) {
    // Found behind a block descriptor, sent without the PS bit; the pause (96h) is none of a recording's.
    const std::string page = "85 32 05 C5 0D 07 0000 20 00 00000010 0096" + std::string(72, '1');
    const auto sense = fromHex("0042 70 00 0000 0008 0000000000000800" + page);
    const auto found = findWriteParameters(sense);
    ASSERT_EQ(found, fromHex(page));
    EXPECT_EQ(shortest(sense, findWriteParameters), 68);
    EXPECT_FALSE(findWriteParameters(fromHex("003A 70 00 0000 0000 0832" + std::string(100, '0'))));
    EXPECT_EQ(writeParameterList(*found, {WriteType::layerJump, false, true, 0, 16, true, true}),
              fromHex("0000000000000000 0532 64 C5 08 10 0000 00 00 00000000 0096" + std::string(72, '1')));
    EXPECT_EQ(formatParameterList({0x26, 0x230540, 0x800}, false, false),
              fromHex("00000008 00230540 98000000"));
}

const auto kConfiguration =
    fromHex("0000001C 0000 0014 0000 03 04 00140100 0107 11 04 1F000000 002F 08 04 44000000");
const auto kDisc = fromHex("0020 11 01 02 01 03 03 00 00 00 01" + std::string(44, '0'));
const auto kTrack =
    fromHex("0020 03 01 00 05 7F 01 00001000 00002000 00003000 00000010 00005000 00000000 01 00");
const auto kToc = fromHex("001A 01 02  00 10 01 00 00000000  00 14 02 00 00010000  00 14 AA 00 00020000");
const auto kSpeeds =
    fromHex("00000024 02000000 02000000 0023053F 00002B3D 00001B80 10000000 0023053F FFFFFFFF 00000566");
const auto kCapacities = fromHex("000000 18 00230540 02 000800 00230541 98 000001 00230542 41 000020");

TEST(MmcAnswers, AreReadAsTheStandardWritesThem) {
    EXPECT_EQ(parseCurrentProfile(kConfiguration), 0x14);
    EXPECT_THAT(parseFeature(kConfiguration, 0x0107), Optional(FieldsAre(true, fromHex("1F000000"))));
    EXPECT_THAT(parseFeature(kConfiguration, 0x2F), Optional(FieldsAre(false, fromHex("44000000"))));
    EXPECT_THAT(parseDiscInformation(kDisc),
                Optional(FieldsAre(DiscStatus::incomplete, BackgroundFormat::done, 0x103)));
    EXPECT_THAT(
        parseTrackInformation(kTrack),
        Optional(FieldsAre(0x103, true, true, 16, 0x3000, Optional(0x2000), testing::Eq(std::nullopt))));
    EXPECT_EQ(
        parseTrackInformation(fromHex("002E 0101 00 44 20 01" + std::string(64, '0') + "000007FF 00000000"))
            ->nextJump,
        0x7FFU);
    EXPECT_FALSE(
        parseTrackInformation(fromHex("001A 01 01 00 05 20 01" + std::string(40, '0')))->fixedPackets);
    EXPECT_THAT(parseToc(kToc),
                Optional(ElementsAre(FieldsAre(false, 0, 0x10000), FieldsAre(true, 0x10000, 0x20000))));
    const auto speeds = parseWriteSpeeds(kSpeeds, 9);
    ASSERT_THAT(speeds, Optional(testing::SizeIs(2)));
    EXPECT_EQ(std::memcmp(&speeds->at(1), &kSpeeds[24], 16), 0) << "big-endian as on the wire";
    EXPECT_THAT(parseNominalPerformance(kSpeeds, true, 9), Optional(testing::SizeIs(2)));
    using Medium = FormatCapacities::Medium;
    EXPECT_THAT(
        parseFormatCapacities(kCapacities),
        Optional(FieldsAre(Medium::formatted, 0x230540,
                           ElementsAre(FieldsAre(0x26, 0x230541, 1), FieldsAre(0x10, 0x230542, 0x20)))));
    EXPECT_THAT(parseMediaEvent(fromHex("0006 04 10 0203 0000")), Optional(FieldsAre(true, true)));
    EXPECT_THAT(parseWriteProtection(fromHex("0006 0000 04000000")), Optional(true));
    EXPECT_THAT(parseWriteProtection(fromHex("0006 0000 F0000000")), Optional(false));
    EXPECT_EQ(parseProgress(fromHex("70 00 02 00000000 0A 00000000 04 04 00 80 4000")), 25U);
}

TEST(MmcAnswers, ShortAndContradictoryOnesGiveNothing) {
    EXPECT_EQ(shortest(kConfiguration, parseCurrentProfile), 8);
    EXPECT_EQ(shortest(kDisc, parseDiscInformation), 16);
    EXPECT_EQ(shortest(kTrack, parseTrackInformation), 28);
    EXPECT_EQ(shortest(kToc, parseToc), 28);
    EXPECT_EQ(shortest(kCapacities, parseFormatCapacities), 12);
    const auto speeds = [](Bytes answer) { return parseWriteSpeeds(answer, 9); };
    EXPECT_EQ(shortest(kSpeeds, speeds), 8);
    // Half a descriptor is none, as is what lies beyond the stated length.
    EXPECT_THAT(speeds(fromHex("00000024 02000000 00000000 0023053F 00002B3D")), Optional(IsEmpty()));
    EXPECT_THAT(speeds(fromHex("00000003 02000000" + std::string(32, '0'))), testing::Eq(std::nullopt));
    EXPECT_THAT(parseFeature(fromHex("00000009 0000 0014 0107 11 FF 1F"), 0x107),
                Optional(FieldsAre(true, fromHex("1F"))));
    EXPECT_FALSE(parseFeature(fromHex("00000004 0000 0014 0107 11 04 1F000000"), 0x107));
    EXPECT_FALSE(parseDiscInformation(fromHex("0020 20 01" + std::string(60, '0')))) << "of another type";
    EXPECT_FALSE(parseNominalPerformance(kSpeeds, false, 9)) << "write performance instead of read";
    EXPECT_FALSE(parseFormatCapacities(fromHex("000000 08 00230540 00 000800")));
    EXPECT_FALSE(parseMediaEvent(fromHex("0006 84 10 0002 0000")));
    EXPECT_FALSE(parseMediaEvent(fromHex("0006 01 10 0002 0000"))) << "of another class";
    EXPECT_FALSE(parseToc(fromHex("0012 01 01 00 14 01 00 00010000 00 14 AA 00 0000FFFF"))) << "descending";
    EXPECT_FALSE(parseToc(fromHex("000A 01 01 00 14 AA 00 00000000"))) << "no track";
    EXPECT_FALSE(parseToc(fromHex("0012 01 01 00 14 64 00 00000000 00 14 AA 00 00000001"))) << "track 100";
    EXPECT_FALSE(parseProgress(fromHex("72 02 04 04 00000000 0000 0000 0000 00 80 4000")));
}

}  // namespace libDrive2::mmc
