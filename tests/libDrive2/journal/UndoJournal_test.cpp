#include <gmock/gmock.h>

#include <utility>

#include "JournalWorld.h"
#include "libDrive2/journal/JournalLayout.h"
#include "libDrive2/journal/SectorMatcher.h"

namespace libDrive2 {
namespace {

using testing::HasSubstr;
using What = RecoverySink::What;
using Sectors = DeviceState::Sectors;

TEST(UndoJournal, NoErrorOfItsFileLosesData) {
    bool failed = true;
    for (int n = 0; failed; ++n) {
        JournalWorld world;
        int left = n;
        failed = false;
        world.file().failing = [&](char operation, std::size_t) {
            const bool fails = operation != 'r' && left-- == 0;
            failed = failed || fails;
            return fails;
        };
        const bool ran = world.run();
        EXPECT_EQ(ran, !failed) << "operation " << n;
        world.file().failing = nullptr;
        EXPECT_EQ(world.recoverAll().slotsLeft, 0U);
        EXPECT_TRUE(world.drive().state.durable == originalDrive().durable) << "operation " << n;
    }
}

TEST(UndoJournal, SaysWhatItDoesNotTake) {
    Journalled world;
    UndoJournal& undo = *world.undo;
    const std::string sector = sectorOf('x');
    const auto why = [&undo](bool took) {
        return took ? std::string("took it") : undo.lastErrorStr().utf8();
    };
    EXPECT_EQ(why(world.expect("abc")), "3 bytes of patterns are not whole sectors");
    std::string many;
    for (char c = 'A'; c < 'A' + 10; ++c)
        many += sectorOf(c);
    EXPECT_EQ(why(world.expect(many)),
              "its file has room for 4096 bytes of patterns, but the test writes 5120");
    EXPECT_EQ(why(world.expect(many.substr(0, 4096))), "took it");
    EXPECT_EQ(why(undo.protect(0, 2, sector.data(), 512)), "512 bytes are not the data of 2 sectors");
    EXPECT_EQ(why(world.protect(0, 6)), "it takes up to 2560 bytes at once, not 3072");
    EXPECT_EQ(why(undo.release(0, 2)), "it does not hold sectors 0 through 1");
    EXPECT_EQ(why(world.protect(0, 3)), "took it");
    EXPECT_EQ(why(world.expect(sector)),
              "patterns cannot be added while sectors are protected or the journal is closed");
    EXPECT_EQ(why(world.protect(2, 2)),
              "sectors 0 through 2 are still in it, because they could not be put back");
    EXPECT_EQ(why(world.protect(3, 1)), "took it");
    EXPECT_THAT(why(world.protect(4, 1)), HasSubstr("it is full"));
    EXPECT_EQ(why(undo.holdsOriginal(3, 1, sector.data(), 512)),
              "the sectors do not hold their original data");
    EXPECT_EQ(why(undo.holdsOriginal(3, 1, originalOf(3).data(), 512)), "took it");
    EXPECT_EQ(why(undo.release(0, 2)), "it does not hold sectors 0 through 1");
    EXPECT_EQ(why(undo.release(0, 3)), "took it");
    EXPECT_TRUE(undo.hasOpenSlots());
    EXPECT_EQ(why(undo.close()), "it still holds sectors that were not put back");
    EXPECT_EQ(why(world.protect(4, 1)), "it is closed");
    EXPECT_EQ(why(undo.release(3, 1) && undo.close()), "took it");
    const auto refused = [](const JournalSettings& settings) {
        Journalled other;
        EXPECT_EQ(UndoJournal::create(other.journalFile, settings, other.reason), nullptr);
        return other.reason.utf8();
    };
    EXPECT_EQ(refused({identity(), "", 1 << 20, true}),
              "the journal's file has 77824 bytes, but needs 2158592");
    EXPECT_THAT(refused({identity(), "", 100, true}), HasSubstr("slots of 100 bytes"));
    DriveIdentity wordy = identity();
    wordy.model = std::string(17000, 'm');
    EXPECT_THAT(refused({wordy, "", kSlotBytes, true}), HasSubstr("too long"));
}

TEST(UndoJournal, NoCrashMakesAnOpenSlotLookDamaged) {
    // One slot stays open, so that the other one is filled again and again; sometimes the file fails.
    for (int failingFlush = -1; failingFlush < 12; ++failingFlush) {
        Journalled world;
        int flushes = 0;
        bool isOpen = false;
        world.file().failing = [&](char operation, std::size_t) {
            return operation == 'f' && flushes++ == failingFlush;
        };
        world.file().onWrite = [&] {
            for (const Sectors& left : world.file().state.afterPowerCut(0)) {
                CrashDevice file({left, {}, {}}, 1);
                const JournalContents contents = readJournal(file);
                ASSERT_TRUE(contents.damaged.empty()) << failingFlush;
                ASSERT_TRUE(!isOpen || (!contents.open.empty() && contents.open[0].lba == 0)) << failingFlush;
            }
        };
        for (std::uint64_t lba = 3; lba < 6; ++lba)
            EXPECT_TRUE(!world.protect(lba, 1) || world.undo->release(lba, 1));
        isOpen = world.protect(0, 2);
        for (std::uint64_t lba = 3; lba < 9; ++lba)
            EXPECT_TRUE(!world.protect(lba, 1) || world.undo->release(lba, 1));
        EXPECT_TRUE(!std::exchange(isOpen, false) || world.undo->release(0, 2));
        for (std::uint64_t lba = 3; lba < 6; ++lba)
            (void)world.protect(lba, 1);
    }
}

TEST(JournalReader, TellsWhatAFileIs) {
    JournalWorld crashed = crashedWorld();
    const Sectors whole = crashed.file().state.durable;
    const auto stateOf = [](const Sectors& sectors) {
        CrashDevice file({sectors, {}, {}}, 1);
        const JournalContents contents = readJournal(file);
        EXPECT_EQ(contents.problem.isEmpty(), contents.state == JournalState::valid);
        return contents.state;
    };
    const auto with = [&whole](std::size_t sector, const std::string& text) {
        Sectors changed = whole;
        changed[sector] = Contents::numberOf(text);
        return changed;
    };
    const std::string header = Contents::text(whole[0]);
    const std::string zeros = sectorOf('\0');
    const auto both = [&whole](const std::string& text) {
        Sectors changed = whole;
        changed[0] = changed[32] = Contents::numberOf(text);
        return changed;
    };
    Sectors unused = CrashDevice::blank(152).durable;
    EXPECT_EQ(stateOf(unused), JournalState::unused);
    for (const std::size_t cut : {3, 40}) {
        unused[0] = Contents::numberOf(header.substr(0, cut) + zeros.substr(cut));
        EXPECT_EQ(stateOf(unused), JournalState::unused) << cut;
    }
    unused[72] = whole[72];
    EXPECT_EQ(stateOf(unused), JournalState::damaged);
    EXPECT_EQ(stateOf({}), JournalState::unused);
    EXPECT_EQ(stateOf(whole), JournalState::valid);
    EXPECT_EQ(stateOf(with(0, zeros)), JournalState::valid);
    EXPECT_EQ(stateOf(with(32, sectorOf('t'))), JournalState::valid);
    EXPECT_EQ(stateOf(with(0, "")), JournalState::valid);
    EXPECT_EQ(stateOf(both(zeros)), JournalState::damaged);
    EXPECT_EQ(stateOf(both("")), JournalState::unreadable);
    EXPECT_EQ(stateOf(both(sectorOf('t'))), JournalState::notAJournal);
    EXPECT_EQ(stateOf(both(header.substr(0, 8) + "\x0C" + header.substr(9))), JournalState::otherVersion);
    EXPECT_EQ(stateOf(both(header.substr(0, 40) + "\7\7" + header.substr(42))), JournalState::damaged);
    EXPECT_EQ(stateOf(both(header.substr(0, 40) + "\1" + header.substr(41))), JournalState::valid);
    for (const std::ptrdiff_t size : {1, 20, 64, 135})
        EXPECT_EQ(stateOf({whole.begin(), whole.begin() + size}), JournalState::truncated) << size;
}

TEST(JournalReader, TellsDamageFromAWriteThatWasCutOff) {
    // Both slots are open. In each case one sector of the file holds something else; "" cannot be read.
    const auto slot = [](std::uint32_t i) { return journal::slotOffset(kSlotBytes, i) / 512; };
    const std::size_t header = journal::kSlotHeaderAt / 512, data = journal::dataAt(kSlotBytes) / 512;
    const std::string torn = sectorOf('t');
    using Lbas = std::vector<std::uint64_t>;
    const struct {
        std::size_t sector;
        std::string text;
        Lbas open, damaged;
        bool notesToo = false;
    } cases[] = {
        {151, torn, {2, 6}, {}},
        {slot(0) + data, torn, {6}, {2}},
        {slot(1) + data, torn, {2}, {6}},
        {slot(1) + data, torn, {2}, {}, true},  // as a write that was cut off leaves the newest slot
        {slot(0) + data, "", {6}, {2}},
        {slot(1) + data, "", {2}, {6}, true},
        {slot(0) + header, torn, {2, 6}, {}},  // the note stands in for it
        {slot(1) + header, "", {2, 6}, {}},
        {slot(1) + header, "", {2}, {0}, true},
        {slot(1) + header, torn, {2}, {0}, true},
        {slot(1), torn, {2, 6}, {}},
        {slot(1), "", {2, 6}, {}},
    };
    for (const auto& each : cases) {
        Journalled world;
        ASSERT_TRUE(world.protect(2, 3) && world.protect(6, 1));
        world.file().state.durable[each.sector] = Contents::numberOf(each.text);
        if (each.notesToo)
            world.file().state.pending.clear();
        const JournalContents contents = readJournal(world.file());
        const auto lbas = [](const std::vector<JournalSlot>& slots) {
            Lbas list;
            for (const JournalSlot& found : slots)
                list.push_back(found.lba);
            return list;
        };
        EXPECT_EQ(lbas(contents.open), each.open) << each.sector;
        EXPECT_EQ(lbas(contents.damaged), each.damaged) << each.sector;
        EXPECT_EQ(world.recoverAll().slotsLeft, each.damaged.size()) << each.sector;
    }
}

TEST(SectorMatcher, FindsTearsAtEveryByte) {
    std::string expected;
    for (int i = 0; i < 3 * 512; ++i)
        expected += static_cast<char>(i * 7919 >> 5 ^ i / 512);
    const auto bytes = [](const std::string& text) {
        return Bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    };
    SectorMatcher matcher(bytes(expected), 512);
    const std::string original = sectorOf('o');
    const auto isTorn = [&](const std::string& text, bool isTwice) {
        return matcher.isTorn(bytes(text), {}, bytes(original), isTwice);
    };
    for (std::size_t cut = 1; cut < 511; ++cut) {
        const std::string content = expected.substr(512 * (cut % 3), 512);
        const std::string other = expected.substr(512 * ((cut + 1) % 3), 512);
        EXPECT_TRUE(isTorn(content.substr(0, cut) + original.substr(cut), false)) << cut;
        EXPECT_TRUE(isTorn(original.substr(0, cut) + content.substr(cut), false)) << cut;
        EXPECT_TRUE(isTorn(content.substr(0, cut) + other.substr(cut), false)) << cut;
        std::string twice =
            original.substr(0, cut / 2) + content.substr(cut / 2, cut - cut / 2) + original.substr(cut);
        EXPECT_TRUE(isTorn(twice, true)) << cut;
        EXPECT_FALSE(cut > 20 && cut < 500 && isTorn(twice, false)) << cut;
        twice[cut / 2] = '!';
        EXPECT_FALSE(cut > 20 && isTorn(twice, true)) << cut;
        EXPECT_TRUE(matcher.isExpected(bytes(content)) && !matcher.isExpected(bytes(twice)));
    }
}

}  // namespace
}  // namespace libDrive2
