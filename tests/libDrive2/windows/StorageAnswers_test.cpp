#include <gmock/gmock.h>

#include "libDrive2/windows/answers/DeviceIdentifiers.h"
#include "libDrive2/windows/answers/DiskExtents.h"
#include "libDrive2/windows/answers/DriveLayout.h"
#include "support/windows/StorageStructures.h"

namespace libDrive2 {
namespace {

using testing::ElementsAre;
using testing_support::PlayedBytes;
using testing_support::PlayedIdentifier;

constexpr std::int64_t kMost = INT64_MAX;

PlayedBytes cut(PlayedBytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

TEST(StorageAnswers, ExtentsAreTakenOnlyWhole) {
    const PlayedBytes two = testing_support::diskExtents({{1, 1048576, 4096}, {7, 0, kMost}});
    const std::vector<DiskExtent> expected = {{1, 1048576, 4096}, {7, 0, INT64_MAX}};
    EXPECT_EQ(parseDiskExtents(two), expected);
    EXPECT_EQ(parseDiskExtents(cut(two, two.size() + 50)), expected);
    for (const PlayedBytes& bad :
         {PlayedBytes{}, cut(two, 4), cut(two, 8), cut(two, two.size() - 1), testing_support::diskExtents({}),
          testing_support::diskExtents({{1, 0, 0}}), testing_support::diskExtents({{1, -1, 10}}),
          testing_support::diskExtents({{1, 1, kMost}}), PlayedBytes(100, 0xFF)})
        EXPECT_FALSE(parseDiskExtents(bad));
}

TEST(StorageAnswers, LayoutsTellOfPartitionsInUse) {
    const auto gpt = parseDriveLayout(testing_support::driveLayout(
        PARTITION_STYLE_GPT, {{1, 1 << 20, 1 << 20, 0, testing_support::kBasicData},
                              {2, 2 << 20, 1 << 20, 0, {}},  // room in the table
                              {3, 3 << 20, 1 << 20, 0, testing_support::kPoolMember},
                              {4, 4 << 20, 1 << 20, 0, testing_support::kDynamicMember},
                              {5, 5 << 20, -1, 0, testing_support::kBasicData}}));
    ASSERT_TRUE(gpt);
    std::string found = gpt->table();
    for (const LayoutPartition& part : gpt->partitions)
        found +=
            " " + std::to_string(part.number) + (part.isPool() ? "p" : "") + (part.isDynamic() ? "d" : "");
    EXPECT_EQ(found, "gpt 1 3p 4d");
    EXPECT_EQ(gpt->partitions.front().gptType, "ebd0a0a2-b9e5-4433-87c0-68b6b72699c7");
    EXPECT_EQ(gpt->partitions.front().start, 1U << 20);

    const PlayedBytes mbr = testing_support::driveLayout(
        PARTITION_STYLE_MBR, {{1, 512, 512, 0x07}, {2, 1024, 512, 0x0F}, {3, 2048, 512, 0x42}, {0, 0, 0, 0}});
    const auto dos = parseDriveLayout(mbr);
    ASSERT_TRUE(dos);
    ASSERT_EQ(dos->partitions.size(), 2U);
    EXPECT_FALSE(dos->partitions[0].isDynamic());
    EXPECT_TRUE(dos->partitions[1].isDynamic());
    EXPECT_TRUE(parseDriveLayout(cut(mbr, mbr.size() + 1000)));
    EXPECT_STREQ(parseDriveLayout(testing_support::driveLayout(PARTITION_STYLE_RAW, {}))->table(), "");
    for (const PlayedBytes& bad :
         {PlayedBytes{}, cut(mbr, 47), cut(mbr, mbr.size() - 1), PlayedBytes(1000, 0xFF)})
        EXPECT_FALSE(parseDriveLayout(bad));
}

std::string nameOf(const PlayedBytes& answer) {
    return worldWideName(parseDeviceIdentifiers(answer));
}

std::string nameOf(const std::vector<PlayedIdentifier>& identifiers) {
    return nameOf(testing_support::deviceIdentifiers(identifiers));
}

PlayedBytes text(const std::string& from) {
    return {from.begin(), from.end()};
}

TEST(StorageAnswers, TheStrongestNameOfADeviceIsTaken) {
    const PlayedIdentifier naa{1, 3, 0, {0x50, 0, 0xC5, 0, 0xA1, 0xB2, 0xC3, 0xD4}};
    const PlayedIdentifier eui{1, 2, 0, {0, 0x25, 0x38, 0x5B, 0x21, 0x40, 0x4E, 0x31}};
    const PlayedIdentifier name{3, 8, 0, text(std::string("eui.0025385B21404E31\0\0", 22))};
    const PlayedIdentifier vendor{2, 1, 0, text("ATA     DISK  S1  ")};
    EXPECT_EQ(nameOf({vendor, name, eui, naa}), "naa.5000c500a1b2c3d4");
    EXPECT_EQ(nameOf({vendor, name, eui}), "eui.0025385b21404e31");
    EXPECT_EQ(nameOf({vendor, name}), "eui.0025385B21404E31");
    EXPECT_EQ(nameOf({vendor}), "t10.ATA     DISK  S1");
    const PlayedIdentifier none[] = {
        {1, 3, 1, naa.bytes},           // of the port
        {1, 3, 0, PlayedBytes(8, 0)},   // not filled in
        {1, 3, 0, {1, 2, 3}},           // of no length that a name has
        {2, 3, 0, naa.bytes},           // text where there should be none
        {1, 0, 0, {1, 2, 3, 4}},        // the vendor's own business
        {1, 0xFFFFFFFF, 0, {1, 2, 3}},  // no known type
    };
    for (const PlayedIdentifier& each : none) {
        EXPECT_EQ(nameOf({each}), "");
        EXPECT_EQ(nameOf({each, naa}), "naa.5000c500a1b2c3d4");
    }
}

TEST(StorageAnswers, ListsOfNamesMayBeBroken) {
    const PlayedIdentifier naa{1, 3, 0, PlayedBytes(8, 0x55)};
    const PlayedBytes two = testing_support::deviceIdentifiers({{1, 3, 1, naa.bytes}, naa});
    EXPECT_EQ(nameOf(cut(two, two.size() + 9)), "naa.5555555555555555");
    EXPECT_EQ(nameOf(cut(two, two.size() - 1)), "");
    EXPECT_EQ(nameOf(cut(two, 12)) + nameOf(PlayedBytes{}), "");
    PlayedBytes circle = two;
    circle[12 + 10] = 4;  // the first one's next lies within itself
    EXPECT_EQ(nameOf(circle), "");
    PlayedBytes beyond = two;
    beyond[12 + 11] = 0x7F;
    EXPECT_EQ(nameOf(beyond), "");
    EXPECT_TRUE(parseDeviceIdentifiers(PlayedBytes(500, 0xFF)).empty());
}

TEST(StorageAnswers, AnNvmeSerialNumberMayBeAName) {
    EXPECT_EQ(worldWideNameInSerial("0025_385B_2140_4E31."), "eui.0025385b21404e31");
    EXPECT_EQ(worldWideNameInSerial("0025_385B_2140_4E31_0025_385B_2140_4E31."),
              "eui.0025385b21404e310025385b21404e31");
    for (const char* other : {"", ".", "S4EVNX0N", "0025_385B_2140_4E31", "0025_385B_2140.",
                              "0000_0000_0000_0000.", "0025-385B-2140-4E31.", "0025_385B_2140_4E3X."})
        EXPECT_EQ(worldWideNameInSerial(other), "") << other;
}

}  // namespace
}  // namespace libDrive2
