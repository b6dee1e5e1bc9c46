#include "libDrive2/commands/ScsiSense.h"

#include <gmock/gmock.h>

#include "Hex.h"

namespace libDrive2::scsi {

/// Fixed format with the information field 1234h; `codes` are key, additional code and qualifier.
static ScsiResponse fixed(const std::string& codes, const std::string& format = "F0", int status = 2) {
    return answered(
        format + "00" + codes.substr(0, 2) + "00001234 0A 00000000" + codes.substr(2) + "00000000", status);
}

TEST(ScsiSense, TellsCauses) {
    const std::pair<_LIBDRIVE2_ERROR_TYPES, std::vector<const char*>> rows[] = {
        {LIBDRIVE2_NO_ERROR, {"000000", "011701", "0F0000"}},
        {LIBDRIVE2_BUSY, {"020401", "023E00", "062900"}},
        {LIBDRIVE2_NO_ACCESS, {"020403", "023A00", "052500", "062800", "077471"}},
        {LIBDRIVE2_LINK_ERROR, {"020801", "040800", "0B4703"}},
        {LIBDRIVE2_MEDIA_ERROR, {"023001", "031100", "080000", "0E1D00"}},
        {LIBDRIVE2_DRIVE_ERROR, {"023E01", "044400", "0B0000"}},
        {LIBDRIVE2_NOT_SUPPORTED, {"052000", "052400"}},
        {LIBDRIVE2_BAD_ARGUMENT, {"052100"}},
        {LIBDRIVE2_WRITE_PROTECTED_MEDIUM, {"072700"}},
        {LIBDRIVE2_WRITE_PROTECTED_DEVICE, {"072702"}},
    };
    for (const auto& [cause, all] : rows)
        for (const char* codes : all) {
            const DeviceStatus status = judge(fixed(codes)).status;
            EXPECT_EQ(std::pair(status.type, status.ok()), std::pair(cause, status.text.isEmpty())) << codes;
        }
    EXPECT_THAT(judge(fixed("031100")).status.text.utf8(), testing::HasSubstr("read error at sector 4660"));
    EXPECT_NE(judge(fixed("011701")).recovered, "");
}

TEST(ScsiSense, IsNewsOrOfNoMatter) {
    for (const int good : {0x00, 0x04})
        EXPECT_TRUE(judge(fixed("031100", "F0", good)).status.ok());
    for (const int busy : {0x08, 0x18, 0x28})
        EXPECT_EQ(judge(fixed("031100", "F0", busy)).status.type, LIBDRIVE2_BUSY);
    EXPECT_FALSE(judge(answered("7F0001 00000000 0A 00000000 1701")).status.ok()) << "no standard format";
    EXPECT_FALSE(judge(answered("")).status.ok());
    EXPECT_TRUE(judge(fixed("062900")).repeat);
    EXPECT_TRUE(judge(fixed("010C00", "F1")).repeat) << "an earlier command was recovered";
    EXPECT_TRUE(judge(answered("73010C00 000000 00")).repeat);
    EXPECT_FALSE(judge(fixed("062800")).repeat) << "perhaps another medium";
    EXPECT_FALSE(judge(fixed("030C00", "F1")).repeat) << "an earlier command failed";
}

TEST(ScsiSense, FieldsBeyondItsEndAreNotThere) {
    const std::string head = "72031100 000000", both = "02060000C0000200 000A8000 0000000102030405";
    const auto find = [](const std::string& sense) { return parseSense(fromHex(sense))->information; };
    EXPECT_EQ(find(head + "14" + both), 0x102030405);
    EXPECT_EQ(find(head + "08" + both), std::nullopt) << "beyond the stated end";
    EXPECT_EQ(find((head + "14" + both).substr(0, 48)), std::nullopt) << "cut off";
    EXPECT_EQ(find("700003 00001234 0A 00000000 1100"), std::nullopt) << "not valid";
    EXPECT_EQ(find(head + "0C 000A0000 0000000102030405"), std::nullopt) << "not valid";
    EXPECT_EQ(parseSense(fromHex("700005 00000000 00 00000000 2000"))->code, 0) << "beyond the stated end";
    EXPECT_EQ(shortest(fromHex(head + "14" + both), parseSense), 4);
    EXPECT_EQ(shortest(fromHex("700005 00000000 0A 00000000 2000"), parseSense), 3);
}

}  // namespace libDrive2::scsi
