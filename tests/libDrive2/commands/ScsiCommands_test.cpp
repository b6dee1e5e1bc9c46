#include "libDrive2/commands/ScsiCommands.h"

#include <gmock/gmock.h>

#include "Hex.h"
#include "libDrive2/commands/UfiCommands.h"

namespace libDrive2::scsi {

TEST(ScsiCommands, HaveTheBytesOfTheStandards) {
    const std::pair<ScsiRequest, const char*> rows[] = {
        {read(0x12345678, 0x9ABC, true), "in 28 08 12 34 56 78 00 9A BC 00"},
        {write(0x12345678, 0x9ABC, false), "out 2A 00 12 34 56 78 00 9A BC 00"},
        {verify(0x12345678, 0x9ABC), "no 2F 00 12 34 56 78 00 9A BC 00"},
        {verify(0x123456789, 1), "no 8F 00 00 00 00 01 23 45 67 89 00 00 00 01 00 00"},
        {seek(0x12345678), "no 2B 00 12 34 56 78 00 00 00 00"},
        {synchronizeCache(), "no 35 00 00 00 00 00 00 00 00 00"},
        {testUnitReady(), "no 00 00 00 00 00 00"},
        {requestSense(252), "in 03 00 00 00 FC 00"},
        {inquiry(0x124), "in 12 00 00 01 24 00"},
        {vitalProductData(0xB0, 64), "in 12 01 B0 00 40 00"},
        {readCapacity10(), "in 25 00 00 00 00 00 00 00 00 00"},
        {readCapacity16(32), "in 9E 10 00 00 00 00 00 00 00 00 00 00 00 20 00 00"},
        {modeSense6(0x08, 192), "in 1A 08 08 00 C0 00"},
        {modeSense10(0x3F, 0x200), "in 5A 08 3F 00 00 00 00 02 00 00"},
        {logSense(0x0D, 64), "in 4D 00 4D 00 00 00 00 00 40 00"},
        {preventMediumRemoval(true), "no 1E 00 00 00 01 00"},
        {startStopUnit(StartStop::eject), "no 1B 00 00 00 02 00"},
        {startStopUnit(StartStop::load), "no 1B 00 00 00 03 00"},
        {ufi::padded(read(16, 8, false)), "in 28 00 00 00 00 10 00 00 08 00 00 00"},
        {ufi::readFormatCapacities(252), "in 23 00 00 00 00 00 00 00 FC 00 00 00"},
        // Ten bytes as long as the last LBA and the count fit, else sixteen.
        {read(0xFFFFFFFF, 1, false), "in 28 00 FF FF FF FF 00 00 01 00"},
        {read(0xFFFFFFFF, 2, false), "in 88 00 00 00 00 00 FF FF FF FF 00 00 00 02 00 00"},
        {read(0, 65535, false), "in 28 00 00 00 00 00 00 FF FF 00"},
        {read(0, 65536, false), "in 88 00 00 00 00 00 00 00 00 00 00 01 00 00 00 00"},
        {write(~std::uint64_t{0}, 2, true), "out 8A 08 FF FF FF FF FF FF FF FF 00 00 00 02 00 00"},
    };
    for (const auto& [request, bytes] : rows)
        EXPECT_EQ(shown(request), bytes);
}

const auto kInquiry =
    fromHex("00800602 1F000000 4D414B4552202020 4D4F44454C2041 000102202020202020 312E3032");
const auto kCapacity16 = fromHex("00000001D1C0BEAF 00000200 00 03 8000");
const std::string kPages = "0A0A 02000000 00000000 0000 8812 0400 FFFF 0000 FFFF FFFF 0000 0000 00000000";
const auto kMode6 = fromHex("2B 00 90 08 0800000000000200" + kPages);
// A sub-page of page 8 stands before the caching page.
const auto kMode10 = fromHex("0034 0010 0000 0008 0000000000000200 4801 0004 FFFFFFFF" + kPages);
const auto kTemperature = fromHex("0D 00 000C 0001 03 02 0041 0000 03 02 0026");
const auto kFormat = fromHex("000000 10 00000B40 02 000200 000005A0 00 000200");
const std::string kZeros(120, '0');

TEST(ScsiAnswers, AreReadAsTheStandardsWriteThem) {
    using testing::FieldsAre, testing::Optional;
    EXPECT_THAT(parseInquiry(kInquiry), Optional(FieldsAre(0, true, 6, "MAKER", "MODEL A", "1.02")));
    EXPECT_EQ(parseSupportedPages(fromHex("0000 0003 00 80 B0 FF FF")), fromHex("00 80 B0"));
    EXPECT_EQ(parseUnitSerialNumber(fromHex("0080 0006 2020534E3132 FF")), "SN12");
    EXPECT_THAT(parseBlockLimits(fromHex("00B0003C 00000008 00010000 00000800")),
                Optional(FieldsAre(65536, 2048)));
    EXPECT_EQ(parseBlockCharacteristics(fromHex("00B1 003C 1C20 0002"))->rotationRate, 7200);
    EXPECT_THAT(parseCapacity10(fromHex("000FFFFF 00000200")), Optional(FieldsAre(0x100000, 512, 512, 0)));
    EXPECT_EQ(parseCapacity10(fromHex("FFFFFFFF 00000200"))->sectors, kCapacityTooLarge);
    EXPECT_THAT(parseCapacity16(kCapacity16), Optional(FieldsAre(7814037168, 512, 4096, 0)));
    EXPECT_THAT(parseModeSense6(kMode6), Optional(FieldsAre(true, true, Optional(true), false)));
    EXPECT_THAT(parseModeSense10(kMode10), Optional(FieldsAre(false, true, Optional(true), false)));
    EXPECT_EQ(parseTemperature(kTemperature), 38.0);
    EXPECT_EQ(parseTemperature(fromHex("0D00 0006 0000 03 02 00FF")), std::nullopt);
    EXPECT_THAT(ufi::parseFormatCapacities(kFormat)->capacity, FieldsAre(2880, 512, 512, 0));
}

TEST(ScsiAnswers, ShortAndContradictoryOnesGiveNothing) {
    EXPECT_EQ(shortest(kInquiry, parseInquiry), 36);
    EXPECT_EQ(shortest(kCapacity16, parseCapacity16), 14);
    EXPECT_EQ(shortest(kMode6, parseModeSense6), 4);
    EXPECT_EQ(shortest(kMode10, parseModeSense10), 8);
    EXPECT_EQ(shortest(kTemperature, parseTemperature), 16);
    EXPECT_EQ(shortest(kFormat, ufi::parseFormatCapacities), 12);
    EXPECT_FALSE(parseInquiry(fromHex("7F00" + kZeros))) << "no unit there";
    // A device that does not know vital product data answers each page alike.
    EXPECT_FALSE(parseUnitSerialNumber(kInquiry));
    EXPECT_FALSE(parseSupportedPages(fromHex("0000 0602 1F00" + kZeros)));
    EXPECT_FALSE(parseBlockLimits(fromHex("00B0 0004" + kZeros)));
    EXPECT_FALSE(parseCapacity10(fromHex("000FFFFF 00000000")));
    EXPECT_FALSE(parseCapacity16(fromHex("FFFFFFFFFFFFFFFF 00000200" + kZeros)));
    EXPECT_FALSE(parseCapacity16(fromHex("00FFFFFFFFFFFFFF 00000200" + kZeros))) << "2^65 bytes";
    EXPECT_FALSE(ufi::parseFormatCapacities(fromHex("000000 08 00000B40 02 000000")));
}

}  // namespace libDrive2::scsi
