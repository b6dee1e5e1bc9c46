#include <gmock/gmock.h>

#include <numeric>

#include "Hex.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/commands/AtaPassThrough.h"

namespace libDrive2::ata {

// SAT-3: protocol and EXTEND, flags, features, count, LBA (31:24, 7:0, 39:32, 15:8, 47:40, 23:16), device,
// command.
TEST(AtaCommands, HaveTheBytesOfTheStandards) {
    const std::pair<AtaRequest, const char*> rows[] = {
        {identifyDevice(), "in 85 08 0E 00 00 00 01 00 00 00 00 00 00 00 EC 00"},
        {readDma(0x060504030201, 0x1234, true), "in 85 0D 2E 00 00 12 34 04 01 05 02 06 03 40 25 00"},
        {readDma(0xA030201, 256, false), "in 85 0C 2E 00 00 00 00 00 01 00 02 00 03 4A C8 00"},
        // Sectors of more than 512 bytes count as they are.
        {withData(readDma(5, 2, true), nullptr, 8192), "in 85 0D 3E 00 00 00 02 00 05 00 00 00 00 40 25 00"},
        {withData(readDma(5, 2, true), nullptr, 1024), "in 85 0D 2E 00 00 00 02 00 05 00 00 00 00 40 25 00"},
        // The count is in the feature register; the tag comes later.
        {readQueued(0x060504030201, 0x1234), "in 85 19 0D 12 34 00 00 04 01 05 02 06 03 40 60 00"},
        {withData(readQueued(5, 2), nullptr, 8192), "in 85 19 1D 00 02 00 00 00 05 00 00 00 00 40 60 00"},
        {writeDma(0x10000000, 65536, true), "out 85 0D 26 00 00 00 00 10 00 00 00 00 00 40 35 00"},
        {writeDma(5, 1, false), "out 85 0C 26 00 00 00 01 00 05 00 00 00 00 40 CA 00"},
        {writeDmaFua(5, 1), "out 85 0D 26 00 00 00 01 00 05 00 00 00 00 40 3D 00"},
        {readVerify(5, 1, true), "no 85 07 20 00 00 00 01 00 05 00 00 00 00 40 42 00"},
        {readVerify(5, 1, false), "no 85 06 20 00 00 00 01 00 05 00 00 00 00 40 40 00"},
        {flushCache(true), "no 85 07 20 00 00 00 00 00 00 00 00 00 00 00 EA 00"},
        {flushCache(false), "no 85 06 20 00 00 00 00 00 00 00 00 00 00 00 E7 00"},
        {standbyImmediate(), "no 85 06 20 00 00 00 00 00 00 00 00 00 00 00 E0 00"},
        {idleImmediate(), "no 85 06 20 00 00 00 00 00 00 00 00 00 00 00 E1 00"},
        {smartReadData(), "in 85 08 0E 00 D0 00 01 00 00 00 4F 00 C2 00 B0 00"},
        {securityUnlock(), "out 85 0A 06 00 00 00 01 00 00 00 00 00 00 00 F2 00"},
        {securityErasePrepare(), "no 85 06 20 00 00 00 00 00 00 00 00 00 00 00 F3 00"},
        {securityEraseUnit(1), "out 85 0A 06 00 00 00 01 00 00 00 00 00 00 00 F4 00"},
        {securityDisablePassword(), "out 85 0A 06 00 00 00 01 00 00 00 00 00 00 00 F6 00"},
    };
    for (const auto& [request, bytes] : rows)
        EXPECT_EQ(shown(toPassThrough(request)), bytes);
    const auto data = securityData("pass", true);
    EXPECT_EQ(std::vector(data.begin(), data.end()), structure(512, "0=0200 2=70617373"));
}

// Status and error registers as one number. A cause without them is that of the sense data.
TEST(AtaPassThrough, ReadsRegistersInBothFormatsOfSenseData) {
    const std::tuple<const char*, int, _LIBDRIVE2_ERROR_TYPES, std::uint64_t> rows[] = {
        {"7201001D 000000 0E 090C0100 1234 040105020603 4050", 0x5000, LIBDRIVE2_NO_ERROR, 0x060504030201},
        {"72031104 000000 0E 090C0140 0008 040105020603 4051", 0x5140, LIBDRIVE2_MEDIA_ERROR, 0x060504030201},
        {"F00001 0050403C 0A 80010203 001D 00000000", 0x5000, LIBDRIVE2_NO_ERROR, 0x030201},
        {"F00003 40514008 0A 80010203 1104 00000000", 0x5140, LIBDRIVE2_MEDIA_ERROR, 0x030201},
        {"F00003 10514008 0A 80010203 1401 00000000", 0x5110, LIBDRIVE2_MEDIA_ERROR, 0x030201},
        {"F0000B 84514008 0A 80010203 4700 00000000", 0x5184, LIBDRIVE2_LINK_ERROR, 0x030201},
        {"F0000B 04514008 0A 80010203 0000 00000000", 0x5104, LIBDRIVE2_DRIVE_ERROR, 0x030201},
        {"F00004 00704008 0A 80010203 4400 00000000", 0x7000, LIBDRIVE2_DRIVE_ERROR, 0x030201},
        {"F0000B 00D14008 0A 80010203 4700 00000000", 0xD100, LIBDRIVE2_BUSY, 0x030201},
        // 28-bit commands: bits 27:24 are in the device register.
        {"72031104 000000 0E 090C0040 0008 000100020003 4A51", 0x5140, LIBDRIVE2_MEDIA_ERROR, 0xA030201},
        {"F00003 40514A08 0A 00010203 1104 00000000", 0x5140, LIBDRIVE2_MEDIA_ERROR, 0xA030201},
        {"700005 00000000 0A 00000000 2000 00000000", 0, LIBDRIVE2_NOT_SUPPORTED, 0},
        // Bits above 23 did not fit: the first LBA of the command tells them.
        {"F00003 40514008 0A A0FFFFFE 1104 00000000", 0x5140, LIBDRIVE2_MEDIA_ERROR, 0x12FEFFFF},
        {"F00003 40514008 0A A0020000 1104 00000000", 0x5140, LIBDRIVE2_MEDIA_ERROR, 0x13000002},
        {"F00001 40514008 0A 80010203 1701 00000000", 0, LIBDRIVE2_NO_ERROR, 0},
        {"700006 00000000 0A 00000000 2900 00000000", 0, LIBDRIVE2_BUSY, 0},
    };
    for (const auto& [sense, registers, cause, lba] : rows) {
        const AtaResponse answer = fromPassThrough(answered(sense), readDma(0x12FEFFF0, 0x20000, true));
        EXPECT_EQ(statusOf(answer).type, cause) << sense;
        EXPECT_EQ(answer.status << 8 | answer.error, registers) << sense;
        EXPECT_EQ(answer.lba, lba) << sense;
    }
    EXPECT_TRUE(statusOf(fromPassThrough(answered("", 0), {})).ok());
    for (const char* notExecuted : {"", "710001 00000000 0A 00000000 0C00"})
        EXPECT_FALSE(statusOf(fromPassThrough(answered(notExecuted), {})).ok());
}

/// Data of 512 bytes with its checksum in the last one.
static std::vector<std::uint8_t> sealed(const std::string& pieces) {
    auto bytes = structure(512, pieces);
    bytes[511] = static_cast<std::uint8_t>(0 - std::accumulate(bytes.begin(), bytes.end(), 0U));
    return bytes;
}

/// IDENTIFY data of a 4 TB drive (ACS-4) with some pieces changed.
static std::vector<std::uint8_t> identity(const std::string& changed = "") {
    const char* const usual =
        "20=4E53 46=3146 54=4F4D4544204C 120=FFFFFF0F 164=6B34017D6341 170=693401BC6341"
        " 178=C8000081 200=B0BEC0D101 212=0360 256=2900 510=A5 ";
    return sealed(usual + changed);
}

TEST(AtaIdentity, IsReadAsTheStandardWritesIt) {
    // The second erase time has 15 bits, and not 8.
    EXPECT_THAT(*parseIdentity(identity()),
                testing::FieldsAre(true, "MODEL", "SN", "F1", 7814037168, 512, 4096, true, 0, true, true,
                                   true, testing::FieldsAre(true, true, false),
                                   testing::FieldsAre(true, false, false, true, true, 400, 512)));
    EXPECT_FALSE(parseIdentity(identity("0=8085"))->isAta);
    EXPECT_FALSE(parseIdentity(identity("170=6834"))->smart) << "switched off";
    EXPECT_EQ(parseIdentity(identity("150=1F00 152=0E01"))->queueDepth, 32);
    EXPECT_EQ(parseIdentity(identity("150=1F00 152=0E00"))->queueDepth, 0);
    EXPECT_EQ(parseIdentity(identity("150=FFFF 152=FFFF"))->queueDepth, 0) << "no serial drive";
    EXPECT_EQ(parseIdentity(identity("212=0050 234=0008"))->sectorBytes, 4096);
    // Words that are not marked as valid.
    const auto old = parseIdentity(identity("164=6B34FFFFFFFF 212=FFFF"));
    EXPECT_FALSE(old->extended || old->forceUnitAccess || old->flushExtended);
    EXPECT_EQ(old->sectors + old->physicalSectorBytes, 0x0FFFFFFF + 512);
    EXPECT_EQ(shortest(identity(), parseIdentity), 512);
    auto damaged = identity();
    damaged[200] ^= 1;
    EXPECT_FALSE(parseIdentity(damaged));
    EXPECT_FALSE(parseIdentity(identity("212=0050 234=6400"))) << "200 bytes";
    EXPECT_FALSE(parseIdentity(identity("212=0050 234=00010080"))) << "2^32 bytes and more";
}

TEST(AtaSmart, TemperatureIsOfAttribute194Or190) {
    const auto parse = [](const std::string& hex) { return parseSmartTemperature(sealed("2=" + hex)); };
    EXPECT_EQ(parse("BE2200403C22001422000000C22200242824000014000000"), 36.0);
    EXPECT_EQ(parse("BE2200403C22001422000000"), 34.0);
    EXPECT_EQ(parse("C222002428FB000014000000"), -5.0);
    EXPECT_EQ(shortest(sealed("2=C22200242824000014000000"), parseSmartTemperature), 512);
}

}  // namespace libDrive2::ata
