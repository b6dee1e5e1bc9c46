#include "libDrive2/journal/CheckedData.h"

#include <gtest/gtest.h>

#include "JournalWorld.h"
#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2::journal {
namespace {

constexpr std::size_t kBytes = 3 * kBlockBytes + 1024;  ///< four blocks, the last one not full
constexpr std::size_t kTable = 4 * kBlockBytes;         ///< where the table stands behind the data

std::vector<std::uint8_t> contents() {
    std::vector<std::uint8_t> bytes(kBytes);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7919 >> 4);
    return bytes;
}

/// What a file gives back when bits of it flip, by their place, and sectors cannot be read.
struct Damaged {
    std::vector<std::size_t> bits{}, unreadable{};

    [[nodiscard]] std::vector<std::size_t> lost() const {
        CrashDevice file(CrashDevice::blank(48), 1);
        std::vector<std::uint8_t> all = contents();
        all.resize(kTable + kBlockBytes);
        const Checksum root = CheckedData::sum(contents(), all.data() + kTable);
        EXPECT_EQ(root, CheckedData::rootOf(contents()));
        for (const std::size_t bit : bits)
            all[bit / 8] = static_cast<std::uint8_t>(all[bit / 8] ^ 1U << bit % 8);
        (void)file.write(0, all.data(), all.size());
        file.failing = [this](char, std::size_t sector) {
            return std::find(unreadable.begin(), unreadable.end(), sector) != unreadable.end();
        };
        const CheckedData data(file, {0, kTable, kBytes, root});
        const auto wanted = contents();
        for (std::size_t at = 0; at < kBytes; ++at)
            if (std::find(data.lost().begin(), data.lost().end(), at / kBlockBytes) == data.lost().end() &&
                data.bytes()[at] != wanted[at]) {
                ADD_FAILURE() << "byte " << at << " is wrong";
                break;
            }
        return data.lost();
    }
};

TEST(CheckedData, MendsWhatOneBitDamagedAndKnowsTheRest) {
    const std::size_t block = kBlockBytes * 8, table = kTable * 8;
    using Blocks = std::vector<std::size_t>;
    const Blocks all{0, 1, 2, 3};
    const struct {
        const char* name;
        Damaged damage;
        Blocks lost;
    } cases[] = {
        {"nothing", {}, {}},
        {"a bit in each block", {{5, block + 7, 2 * block, 3 * block + 8191}}, {}},
        {"two bits in a block", {{block + 7, block + 9}}, {1}},
        {"two in one, one in another", {{block + 7, block + 9, 2 * block}}, {1}},
        {"only the table", {{table, table + 1, table + 70, table + 500}}, {}},
        {"a block, and the entry of another", {{5, table + 128}}, {}},
        {"a block and its entry", {{5, table + 3}}, {}},
        {"a block twice, and an entry", {{5, 6, table + 128}}, {0}},
        {"a block, and two entries", {{5, table + 128, table + 300}}, {}},
        {"a block twice, and two entries", {{5, 6, table + 128, table + 300}}, all},
        {"a sector of a block", {{}, {10}}, {1}},
        {"the table", {{}, {32}}, {}},
        {"the table, and a bit", {{5}, {32}}, all},
    };
    for (const auto& each : cases)
        EXPECT_EQ(each.damage.lost(), each.lost) << each.name;
}

TEST(CheckedData, MendsEveryBitOfASmallBlock) {
    for (std::size_t bit = 0; bit < 1024 * 8; bit += 29)
        ASSERT_TRUE((Damaged{{3 * kBlockBytes * 8 + bit}, {}}.lost().empty())) << bit;
}

}  // namespace
}  // namespace libDrive2::journal
