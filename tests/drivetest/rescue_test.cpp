#include <gmock/gmock.h>

#include "drivetest/rescue/RescueMap.h"
#include "drivetest/run/NearestName.h"

namespace drivetest {
namespace {

using libDrive2::SectorSpan;
using testing::HasSubstr;

/// "0+512 ?;" and so on.
std::string blocksOf(const RescueMap& map) {
    std::string all;
    for (const RescueMap::Block& block : map.blocks)
        all += std::to_string(block.position) + "+" + std::to_string(block.size) + " " +
               static_cast<char>(block.status) + ";";
    return all;
}

TEST(RescueMap, HoldsEveryByteOnceAndIsReadAsItWasWritten) {
    const struct {
        std::vector<SectorSpan> good, bad;
        const char* blocks;
    } cases[] = {
        {{}, {}, "0+5120 ?;"},
        {{{0, 10}}, {}, "0+5120 +;"},
        {{{0, 2}, {2, 3}}, {}, "0+2560 +;2560+2560 ?;"},
        {{{1, 2}}, {{5, 1}}, "0+512 ?;512+1024 +;1536+1024 ?;2560+512 -;3072+2048 ?;"},
        {{{0, 10}}, {{3, 2}, {9, 1}}, "0+1536 +;1536+1024 -;2560+2048 +;4608+512 -;"},
        {{{4, 3}}, {{0, 4}, {7, 3}}, "0+2048 -;2048+1536 +;3584+1536 -;"},
    };
    for (const auto& c : cases) {
        const RescueMap map = makeRescueMap(c.good, c.bad, 10, 512);
        EXPECT_EQ(blocksOf(map), c.blocks);
        RescueMap again;
        std::string error;
        EXPECT_TRUE(readRescueMap(map.text("a drive"), again, error)) << error;
        EXPECT_EQ(blocksOf(again), c.blocks);
    }
}

TEST(RescueMap, NamesTheSectorsThatAreNotFinished) {
    RescueMap map;
    std::string error;
    ASSERT_TRUE(readRescueMap(
        "# Mapfile. Created by GNU ddrescue version 1.27\n0x00000E00     ?               1\n"
        "#      pos        size  status\n0x00000000  0x00000100  +\n256 0x300 *\n"
        "0x00000400  0x00000400  +\r\n0x800 0x200 /\n0xA00 512 -\n0x00000C00 0x200 +\n0xE00 1 ?\n",
        map, error))
        << error;
    EXPECT_EQ(map.unfinished(512), (std::vector<SectorSpan>{{0, 2}, {4, 2}, {7, 1}}));
    EXPECT_EQ(map.unfinished(4096), (std::vector<SectorSpan>{{0, 1}}));
}

TEST(RescueMap, NamesLineAndColumnOfWhatIsWrong) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "it has no blocks"},
        {"# nothing\n0 ? 1\n", "it has no blocks"},
        {"zero ?\n", "line 1, column 1: a position"},
        {"0 x\n", "line 1, column 3: one of"},
        {"0 ? 1 2\n", "line 1, column 7: this does not belong"},
        {"0 ?\n0 0x +\n", "line 2, column 3: a size"},
        {"0 ?\n0 5 +\n\n6 1 +\n", "line 4, column 1: the block before it ends at 0x00000005"},
        {"0 ?\n1 18446744073709551615 +\n", "line 2, column 3: a size"},
        {"0 ?\n0 5 ++\n", "line 2, column 5: one of"},
        {"0 ?\n0 5 + # fine\n5 1 - more\n", "line 3, column 7: this does not belong"},
        {"0 ?\n0 5", "line 2, column 4: one of"},
    };
    for (const auto& [text, sentence] : cases) {
        RescueMap map;
        std::string error;
        EXPECT_FALSE(readRescueMap(text, map, error)) << text;
        EXPECT_THAT(error, HasSubstr(sentence)) << text;
    }
}

TEST(NearestName, IsTheOneWithTheFewestOtherLetters) {
    const std::vector<std::string> names = {"LinearReadTest", "LinearSeekTest", "read", "pattern"};
    const std::pair<const char*, const char*> cases[] = {{"reed", "read"},
                                                         {"LinearRead", "LinearReadTest"},
                                                         {"linearsektest", "LinearSeekTest"},
                                                         {"paterns", "pattern"},
                                                         {"burn-in", ""},
                                                         {"", ""}};
    for (const auto& [typed, meant] : cases)
        EXPECT_EQ(nearestName(typed, names), meant) << typed;
}

}  // namespace
}  // namespace drivetest
