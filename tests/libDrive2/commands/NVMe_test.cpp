#include <gmock/gmock.h>

#include "Hex.h"
#include "libDrive2/commands/NVMeCommands.h"

namespace libDrive2::nvme {

TEST(NVMeCommands, HaveTheFieldsOfTheStandard) {
    // Whether it is an admin command, opcode, namespace, dwords 10 to 12, direction.
    using Fields = std::tuple<bool, int, unsigned, unsigned, unsigned, unsigned, DataDirection>;
    using enum DataDirection;
    const std::pair<NVMeCommand, Fields> rows[] = {
        {identifyController(), {true, 6, 0, 1, 0, 0, fromDevice}},
        {identifyNamespace(5), {true, 6, 5, 0, 0, 0, fromDevice}},
        {healthLog(), {true, 2, 0xFFFFFFFF, 0x007F0002, 0, 0, fromDevice}},
        {read(1, 0x123456789A, 1, false), {false, 2, 1, 0x3456789A, 0x12, 0, fromDevice}},
        {read(1, 0, 65536, true), {false, 2, 1, 0, 0, 0x4000FFFF, fromDevice}},
        {write(2, 7, 8, true), {false, 1, 2, 7, 0, 0x40000007, toDevice}},
        {verify(1, 7, 8), {false, 0x0C, 1, 7, 0, 7, none}},
        {flush(1), {false, 0, 1, 0, 0, 0, none}},
    };
    for (const auto& [c, fields] : rows)
        EXPECT_EQ(Fields(c.admin, c.opcode, c.namespaceId, c.cdw10, c.cdw11, c.cdw12, c.direction), fields);
}

TEST(NVMeAnswers, AreReadAsTheStandardWritesThem) {
    const auto controller = structure(4096, "4=534E3120 24=4D4F44454C20 64=4631 77=05 256=10 520=80 525=01");
    EXPECT_THAT(*parseController(controller),
                testing::FieldsAre("MODEL", "SN1", "F1", 131072, true, true, true));
    const auto space = structure(4096, "0=B06D7074 25=0111 99=01 128=0000090008000C00");
    EXPECT_THAT(*parseNamespace(space), testing::FieldsAre(0x74706DB0, 4096, 8, true, true));
    const auto health = structure(4096, "1=3301");
    EXPECT_EQ(parseTemperature(health), 34.0);
    EXPECT_EQ(shortest(controller, parseController), 4096);
    EXPECT_EQ(shortest(space, parseNamespace), 4096);
    EXPECT_EQ(shortest(health, parseTemperature), 512);
    const auto refused = [](const char* pieces) { return !parseNamespace(structure(4096, pieces)); };
    EXPECT_TRUE(refused("")) << "no such namespace";
    EXPECT_TRUE(refused("0=01 128=00000800")) << "blocks of 256 bytes";
    EXPECT_TRUE(refused("7=80 128=00000900")) << "2^72 bytes";
    EXPECT_TRUE(refused("0=01 25=0001 132=00000900")) << "format 1 of one";
}

TEST(NVMeStatus, TellsCauses) {
    const std::pair<_LIBDRIVE2_ERROR_TYPES, std::vector<int>> rows[] = {
        {LIBDRIVE2_NO_ERROR, {0x000}},
        {LIBDRIVE2_NOT_SUPPORTED, {0x001, 0x4002, 0x109}},  // bit 14: do not retry
        {LIBDRIVE2_LINK_ERROR, {0x004, 0x022}},
        {LIBDRIVE2_DRIVE_ERROR, {0x006, 0x7FF}},
        {LIBDRIVE2_WRITE_PROTECTED_MEDIUM, {0x020}},
        {LIBDRIVE2_WRITE_PROTECTED_DEVICE, {0x182}},
        {LIBDRIVE2_BAD_ARGUMENT, {0x080}},
        {LIBDRIVE2_BUSY, {0x01D, 0x021, 0x082, 0x083, 0x084}},
        {LIBDRIVE2_MEDIA_ERROR, {0x280, 0x4281, 0x282, 0x285, 0x287}},
        {LIBDRIVE2_NO_ACCESS, {0x00B, 0x286, 0x303, 0x370}},
    };
    for (const auto& [cause, all] : rows)
        for (const int code : all) {
            const DeviceStatus status = statusOf({{}, static_cast<std::uint16_t>(code), 0});
            EXPECT_EQ(std::pair(status.type, status.ok()), std::pair(cause, status.text.isEmpty())) << code;
        }
    EXPECT_THAT(statusOf({{}, 0x4281, 0}).text.utf8(), testing::HasSubstr("unrecovered read error"));
}

}  // namespace libDrive2::nvme
