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

/// A journal over a world's file, with its calls in sectors.
struct Journalled : JournalWorld {
    Journalled() : undo(UndoJournal::create(journalFile, {identity(), "drive", kSlotBytes, true}, reason)) {}
    bool protect(std::uint64_t lba, std::uint32_t count) {
        std::string data;
        for (std::uint64_t i = lba; i < lba + count; ++i)
            data += originalOf(i);
        return undo->protect(lba, count, data.data(), data.size());
    }
    bool expect(const std::string& patterns) { return undo->expectWrites(patterns.data(), patterns.size()); }
    void put(std::size_t sector, const std::string& text) {
        drive().state.durable[sector] = Contents::numberOf(text);
    }
    [[nodiscard]] std::string at(std::size_t sector) { return Contents::text(drive().state.now(sector)); }

    zel::String reason;
    std::unique_ptr<UndoJournal> undo;
};

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
              "the journal's file has 36864 bytes, but needs 2121728");
    EXPECT_THAT(refused({identity(), "", 100, true}), HasSubstr("slots of 100 bytes"));
    DriveIdentity wordy = identity();
    wordy.model = std::string(5000, 'm');
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

/// A run that ended in its second chunk, with a pattern written.
JournalWorld crashedWorld() {
    JournalWorld world;
    world.drive().onWrite = [&world] {
        if (world.drive().writes == 5)
            world.drive().failing = [](char operation, std::size_t) { return operation != 'r'; };
    };
    EXPECT_FALSE(world.run());
    world.drive().onWrite = nullptr;
    world.drive().failing = nullptr;
    return world;
}

/// What a drive holds after the recovery with a changed journal: in every sector what was there, or the
/// original.
void expectNoHarm(const JournalWorld& crashed, std::vector<std::uint32_t> journalSectors,
                  const std::string& what) {
    const DeviceState& before = static_cast<CrashDevice&>(*crashed.driveHandle).state;
    JournalWorld world({std::move(journalSectors), {}, {}}, before);
    world.recoverAll();
    for (std::size_t i = 0; i < kDriveSectors; ++i)
        ASSERT_TRUE(world.drive().state.now(i) == before.now(i) ||
                    world.drive().state.now(i) == originalDrive().now(i))
            << "sector " << i << ", " << what;
}

TEST(JournalReader, DamagedAndShortenedJournalsDoNoHarm) {
    JournalWorld crashed = crashedWorld();
    const Sectors whole = crashed.file().state.durable;
    for (std::size_t sector = 0; sector < whole.size(); ++sector)
        // All bytes of the headers, which lie at the beginning of blocks, and some of the rest.
        for (std::size_t byte = 0; byte < CrashDevice::kSector;
             byte += sector % 8 == 0 && byte < 160 ? 1 : 37) {
            std::string text = Contents::text(whole[sector]);
            text[byte] = static_cast<char>(text[byte] ^ 0x10);
            Sectors changed = whole;
            changed[sector] = Contents::numberOf(text);
            expectNoHarm(crashed, changed, "byte " + std::to_string(sector * 512 + byte));
        }
    for (std::size_t size = 0; size < whole.size(); ++size)
        expectNoHarm(crashed, Sectors(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)),
                     "cut to " + std::to_string(size));
    EXPECT_TRUE(crashed.recoverAll().isComplete());
    EXPECT_TRUE(crashed.drive().state.durable == originalDrive().durable);
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
    Sectors unused = CrashDevice::blank(64).durable;
    EXPECT_EQ(stateOf(unused), JournalState::unused);
    unused[0] = Contents::numberOf(header.substr(0, 40) + zeros.substr(40));
    EXPECT_EQ(stateOf(unused), JournalState::unused);
    EXPECT_EQ(stateOf({}), JournalState::unused);
    EXPECT_EQ(stateOf(whole), JournalState::valid);
    EXPECT_EQ(stateOf(with(0, zeros)), JournalState::damaged);
    EXPECT_EQ(stateOf(with(0, "")), JournalState::unreadable);
    EXPECT_EQ(stateOf(with(0, sectorOf('t'))), JournalState::notAJournal);
    EXPECT_EQ(stateOf(with(0, header.substr(0, 8) + "\2" + header.substr(9))), JournalState::otherVersion);
    EXPECT_EQ(stateOf(with(0, header.substr(0, 40) + "\2" + header.substr(41))), JournalState::damaged);
    EXPECT_EQ(stateOf({whole.begin(), whole.begin() + 20}), JournalState::truncated);
}

TEST(JournalReader, TellsDamageFromAWriteThatWasCutOff) {
    // Both slots are open. In each case one sector of the file holds something else; "" cannot be read.
    const auto slot = [](std::uint32_t i) { return journal::slotOffset(kSlotBytes, i) / 512; };
    const std::size_t data = journal::kDataAt / 512;
    const std::string torn = sectorOf('t');
    using Lbas = std::vector<std::uint64_t>;
    const struct {
        std::size_t sector;
        std::string text;
        Lbas open, damaged;
        bool notesToo = false;
    } cases[] = {
        {63, torn, {2, 6}, {}},
        {slot(0) + data, torn, {6}, {2}},
        {slot(1) + data, torn, {2}, {6}},
        {slot(1) + data, torn, {2}, {}, true},  // as a write that was cut off leaves the newest slot
        {slot(0) + data, "", {6}, {2}},
        {slot(1) + data, "", {2}, {6}},
        {slot(0), torn, {6}, {}},
        {slot(1), "", {2}, {0}},
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

/// Five protected sectors, each of which became something else; sector 6 cannot be read.
struct Recovery : testing::Test {
    Recovery() {
        EXPECT_TRUE(world.expect(sectorOf('P') + sectorOf('Q')) && world.protect(2, 5));
        world.put(3, sectorOf('P'));
        world.put(4, torn);
        world.put(5, foreignFor(5));
        world.put(6, "");
    }
    std::string findings(bool dryRun = false) {
        report = world.recoverAll(dryRun);
        std::string text;
        for (const FoundRange& range : report.ranges)
            text += std::string(range.count, "ertxF"[static_cast<int>(range.finding)]);
        return text;
    }
    [[nodiscard]] std::vector<std::string> held() {
        return {world.at(2), world.at(3), world.at(4), world.at(5), world.at(6)};
    }
    const std::string torn = sectorOf('Q').substr(0, 3) + originalOf(4).substr(3);
    Journalled world;
    RecoveryReport report;
};

TEST_F(Recovery, TreatsEachSectorAsItFindsIt) {
    EXPECT_EQ(findings(), "ertxr");
    EXPECT_TRUE(report.isComplete());
    EXPECT_EQ(report.count(SectorFinding::restored), 2U);
    EXPECT_EQ(held(),
              (std::vector{originalOf(2), originalOf(3), originalOf(4), foreignFor(5), originalOf(6)}));
    EXPECT_EQ(world.sink.saved, (std::map<std::pair<std::uint64_t, What>, std::string>{
                                    {{4, What::found}, torn}, {{5, What::original}, originalOf(5)}}));
    EXPECT_EQ(findings(), "");
}

TEST_F(Recovery, ADryRunOnlyLooks) {
    const auto before = held();
    const std::size_t writes = world.drive().writes + world.file().writes;
    EXPECT_EQ(findings(true), "ertxr");
    EXPECT_EQ(report.slotsLeft, 1U);
    EXPECT_EQ(held(), before);
    EXPECT_EQ(world.drive().writes + world.file().writes, writes);
    EXPECT_TRUE(world.sink.saved.empty());
}

TEST_F(Recovery, WhatFailsStaysInTheJournal) {
    const auto failing = [this](char operation, std::size_t sector) {
        world.drive().failing = [=](char o, std::size_t s) { return o == operation && s == sector; };
        return findings();
    };
    EXPECT_EQ(failing('w', 3), "eFtxr");
    EXPECT_EQ(report.ranges[1].problem.utf8(), "it could not be written: bad sector");
    EXPECT_EQ((world.sink.saved[{3, What::original}]), originalOf(3));
    EXPECT_EQ(report.slotsLeft, 1U);
    EXPECT_EQ(failing('f', 0), "FFFxF");
    EXPECT_EQ(failing('r', 6), "eeexF");
    EXPECT_EQ(report.ranges[2].problem.utf8(), "it was written, but cannot be read back");
    EXPECT_EQ(failing('-', 0), "eeexe");
    EXPECT_TRUE(report.isComplete());
}

TEST_F(Recovery, OverwritesNothingThatCouldNotBeExported) {
    world.sink.works = false;
    EXPECT_EQ(findings(), "erFFr");
    EXPECT_EQ(report.slotsLeft, 1U);
    EXPECT_EQ(world.at(4), torn);
    EXPECT_EQ(world.at(5), foreignFor(5));
}

TEST_F(Recovery, RefusesAnotherDrive) {
    const JournalContents contents = readJournal(world.file());
    DriveIdentity other = identity();
    other.serial = "124";
    report = recover({&world.file(), &contents, &world.drive(), other, &world.sink, false});
    EXPECT_THAT(report.problem.utf8(),
                HasSubstr("the journal is of another drive (Model, serial number 123, 10 "
                          "sectors of 512 bytes)"));
    EXPECT_FALSE(report.isComplete());
    CrashDevice smaller(CrashDevice::blank(9), 1);
    report = recover({&world.file(), &contents, &smaller, identity(), &world.sink, false});
    EXPECT_THAT(report.problem.utf8(), HasSubstr("another size"));
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
        return matcher.isTorn(bytes(text), bytes(original), isTwice);
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
