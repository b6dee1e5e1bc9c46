#include "libDrive2/journal/SlotJudge.h"

#include <gtest/gtest.h>

#include <functional>

namespace libDrive2::journal {
namespace {

using Text = std::vector<std::uint8_t>;

const Session kSession{1, 2, 3};

Text marked(SlotMark mark, std::uint64_t sequence) {
    Text block(kBlockBytes);
    encode({kSession, sequence, 100 * sequence, 3, mark, 1536, {sequence * 0x9E3779B97F4A7C15, ~sequence}},
           Block(block.data(), block.size()));
    return block;
}
Text mixed(const Text& begun, const Text& before, std::size_t cut) {
    Text block = before;
    std::copy_n(begun.begin(), cut, block.begin());
    return block;
}
Text flipped(Text block, std::initializer_list<std::size_t> bits) {
    for (const std::size_t bit : bits)
        block[bit / 8] = static_cast<std::uint8_t>(block[bit / 8] ^ 1U << bit % 8);
    return block;
}

const Text kBlank(kBlockBytes);
const Text kOpen = marked(SlotMark::open, 7), kDone = marked(SlotMark::done, 7);
const Text kOlder = marked(SlotMark::done, 5), kDurable = marked(SlotMark::durable, 7);
const Text kUnreadable;

char fateOf(const Text& header, const Text& note) {
    const Bytes headerBytes(header), noteBytes(note);
    const FoundMark foundNote = findNote(note.empty() ? nullptr : &noteBytes, kSession);
    const FoundMark found = findHeader(header.empty() ? nullptr : &headerBytes, kSession, foundNote);
    const SlotFate fate = judgeSlot(found, foundNote);
    const bool isOpen = fate.kind == SlotFate::Kind::open || fate.kind == SlotFate::Kind::openOrCutOff;
    EXPECT_TRUE(!isOpen || fate.header.lba == 100 * fate.header.sequence);
    return isOpen && fate.header.sequence == 9 ? 'N' : "socD"[static_cast<int>(fate.kind)];
}

TEST(SlotJudge, KnowsEveryHeaderWithEveryNote) {
    // s settled, o open, c open unless it was cut off, N open as the note says, D damaged.
    const Text notes[] = {kBlank,
                          kDurable,
                          marked(SlotMark::restoring, 7),
                          kDone,
                          kOlder,
                          mixed(kDurable, kOlder, 50),
                          flipped(kDurable, {300}),
                          flipped(kDurable, {300, 500}),
                          kUnreadable,
                          marked(SlotMark::durable, 9)};
    const struct {
        const char* name;
        std::function<Text(const Text& note)> header;
        const char* fates;
    } rows[] = {
        {"blank", [](const Text&) { return kBlank; }, "sooDDDoDDN"},
        {"blank but for a bit", [](const Text&) { return flipped(kBlank, {99}); }, "sooDDDoDDN"},
        {"open", [](const Text&) { return kOpen; },
         "coosc"
         "ooooN"},
        {"open, flipped", [](const Text&) { return flipped(kOpen, {300}); },
         "coosc"
         "ooooN"},
        {"open, flipped in its checksum",
         [](const Text&) {
             return flipped(kOpen, {660, 670});
         },
         "coosc"
         "ooooN"},
        {"done", [](const Text&) { return kDone; }, "sssssssssN"},
        {"filling", [](const Text& note) { return mixed(kOpen, note == kOlder ? kOlder : kBlank, 50); },
         "sooDsDoDDN"},
        {"filling, its mark",
         [](const Text& note) { return mixed(kOpen, note == kOlder ? kOlder : kBlank, 14); }, "sooDsDoDDN"},
        {"filling, half its checksum",
         [](const Text& note) { return mixed(kOpen, note == kOlder ? kOlder : kBlank, 90); },
         "coosc"
         "ooooN"},
        {"closing", [](const Text&) { return mixed(kDone, kOpen, 14); }, "sssssssssN"},
        {"closing, its checksum", [](const Text&) { return mixed(kDone, kOpen, 84); }, "sssssssssN"},
        {"flipped twice",
         [](const Text&) {
             return flipped(kOpen, {300, 500});
         },
         "DooDDDoDDN"},
        {"done, flipped twice",
         [](const Text&) {
             return flipped(kDone, {300, 500});
         },
         "DooDDDoDDN"},
        {"unreadable", [](const Text&) { return kUnreadable; }, "DooDDDoDDN"},
    };
    for (const auto& row : rows) {
        std::string fates;
        for (const Text& note : notes)
            fates += fateOf(row.header(note), note);
        EXPECT_EQ(fates, row.fates) << row.name;
    }
}

TEST(SlotJudge, TwoFlippedBitsInAHeaderNeverSettleIt) {
    for (const Text& note : {kBlank, kOlder, kDurable})
        for (std::size_t first = 0; first < kSlotHeaderBytes * 8; first += 5)
            for (std::size_t second = first + 1; second < kSlotHeaderBytes * 8; second += 7)
                ASSERT_NE(fateOf(flipped(kOpen, {first, second}), note), 's') << first << ' ' << second;
}

}  // namespace
}  // namespace libDrive2::journal
