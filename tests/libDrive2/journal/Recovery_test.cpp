#include <gmock/gmock.h>

#include "JournalWorld.h"
#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2 {
namespace {

using testing::HasSubstr;
using What = RecoverySink::What;
using Saved = std::map<std::pair<std::uint64_t, What>, std::string>;

/// Five protected sectors, each of which became something else; sector 6 cannot be read.
struct Recovery : testing::Test {
    Recovery() {
        EXPECT_TRUE(world.expect(sectorOf('P') + sectorOf('Q')) && world.protect(2, 5));
        world.put(3, sectorOf('P'));
        world.put(4, torn);
        world.put(6, "");
    }
    std::string findings(bool dryRun = false, bool force = false) {
        report = world.recoverAll(dryRun, force);
        std::string text;
        for (const FoundRange& range : report.ranges)
            text += std::string(range.count, "ertxFwR"[static_cast<int>(range.finding)]);
        return text;
    }
    [[nodiscard]] std::vector<std::string> held() {
        return {world.at(2), world.at(3), world.at(4), world.at(5), world.at(6)};
    }
    const std::string torn = sectorOf('Q').substr(0, 3) + originalOf(4).substr(3);
    const std::vector<std::string> originals{originalOf(2), originalOf(3), originalOf(4), originalOf(5),
                                             originalOf(6)};
    Journalled world;
    RecoveryReport report;
};

TEST_F(Recovery, TreatsEachSectorAsItFindsIt) {
    EXPECT_EQ(findings(), "erter");
    EXPECT_TRUE(report.isComplete());
    EXPECT_EQ(report.count(SectorFinding::restored), 2U);
    EXPECT_EQ(held(), originals);
    EXPECT_EQ(world.sink.saved, (Saved{{{4, What::found}, torn}}));
    EXPECT_EQ(findings(), "");
}

TEST_F(Recovery, OneForeignSectorKeepsAllOfItsSlot) {
    world.put(5, foreignFor(5));
    const auto before = held();
    const std::size_t writes = world.drive().writes + world.file().writes;
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(findings(), "ewwxw");
        EXPECT_EQ(report.slotsLeft, 1U);
        EXPECT_EQ(held(), before);
        EXPECT_EQ(world.drive().writes + world.file().writes, writes);
    }
    EXPECT_EQ(world.sink.saved, (Saved{{{3, What::original}, originalOf(3)},
                                       {{4, What::original}, originalOf(4)},
                                       {{5, What::original}, originalOf(5)},
                                       {{6, What::original}, originalOf(6)}}));
    world.sink.saved.clear();
    EXPECT_EQ(findings(false, true), "ertRr");
    EXPECT_TRUE(report.isComplete());
    EXPECT_EQ(held(), originals);
    EXPECT_EQ(world.sink.saved, (Saved{{{3, What::found}, sectorOf('P')},
                                       {{4, What::found}, torn},
                                       {{5, What::found}, foreignFor(5)}}));
}

TEST_F(Recovery, ADryRunOnlyLooks) {
    const auto before = held();
    const std::size_t writes = world.drive().writes + world.file().writes;
    EXPECT_EQ(findings(true), "erter");
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
    EXPECT_EQ(failing('w', 3), "eFter");
    EXPECT_EQ(report.ranges[1].problem.utf8(), "it could not be written: bad sector");
    EXPECT_EQ((world.sink.saved[{3, What::original}]), originalOf(3));
    EXPECT_EQ(report.slotsLeft, 1U);
    EXPECT_EQ(failing('f', 0), "FFFFF");
    EXPECT_EQ(failing('r', 6), "eeeeF");
    EXPECT_EQ(report.ranges[1].problem.utf8(), "it was written, but cannot be read back");
    EXPECT_EQ(failing('-', 0), "eeeee");
    EXPECT_TRUE(report.isComplete());
}

TEST_F(Recovery, OverwritesNothingThatCouldNotBeExported) {
    world.sink.works = false;
    EXPECT_EQ(findings(), "erFer");
    EXPECT_EQ(report.slotsLeft, 1U);
    EXPECT_EQ(world.at(4), torn);
    world.put(2, foreignFor(2));
    world.put(3, sectorOf('P'));
    EXPECT_EQ(findings(false, true), "FFFee");
    EXPECT_EQ(world.at(2), foreignFor(2));
    EXPECT_EQ(world.at(3), sectorOf('P'));
}

TEST_F(Recovery, WritesNothingToADriveThatChangedElsewhere) {
    world.put(9, foreignFor(9));
    const auto before = held();
    const std::size_t writes = world.drive().writes + world.file().writes;
    EXPECT_EQ(findings(), "");
    EXPECT_EQ(report.fingerprint.changed, 1U);
    EXPECT_EQ(report.fingerprint.firstChanged, 8U);
    EXPECT_THAT(report.problem.utf8(), HasSubstr("1 of 1 places looked at on the drive, the first at sector "
                                                 "8, have changed"));
    EXPECT_FALSE(report.isComplete());
    EXPECT_EQ(held(), before);
    EXPECT_EQ(world.drive().writes + world.file().writes, writes);
    EXPECT_EQ(findings(false, true), "erter");
    EXPECT_TRUE(report.isComplete());
    EXPECT_EQ(world.at(9), foreignFor(9));
}

TEST_F(Recovery, RefusesAnotherDrive) {
    for (const bool isNamed : {false, true}) {
        world.isNamed = isNamed;
        world.of.id = "wwid:2";
        EXPECT_EQ(findings(), "");
        EXPECT_TRUE(report.isOtherDrive && !report.isComplete());
        EXPECT_THAT(report.problem.utf8(),
                    HasSubstr("the journal is of another drive (Model, serial number 123, 10 "
                              "sectors of 512 bytes)"));
    }
    EXPECT_EQ(findings(true, true), "erter");
    world.of.id = {};
    EXPECT_EQ(findings(true), "erter");
    world.isNamed = false;
    EXPECT_EQ(findings(true), "");
    const JournalContents contents = readJournal(world.file());
    CrashDevice smaller(CrashDevice::blank(9), 1);
    report = recover({&world.file(), &contents, &smaller, identity(), &world.sink, false, true, true});
    EXPECT_THAT(report.problem.utf8(), HasSubstr("another size"));
}

TEST(WeakIdentity, ACopyOfTheDriveSettlesNothing) {
    DriveIdentity weak = identity();
    weak.id = {};
    weak.storage = {{"boot:1:disk", 0, 0}};
    for (const bool hasPatterns : {false, true}) {
        Journalled world(weak);
        ASSERT_TRUE(world.expect(sectorOf('P')) && world.protect(2, 3));
        if (hasPatterns)
            world.put(3, sectorOf('P'));
        world.of = weak;
        world.of.storage[0].id = "boot:2:disk";
        EXPECT_TRUE(world.recoverAll().isOtherDrive);
        world.isNamed = true;
        const RecoveryReport report = world.recoverAll();
        EXPECT_EQ(report.mayBeCopy, !hasPatterns);
        EXPECT_EQ(report.isComplete(), hasPatterns);
        EXPECT_EQ(world.recoverAll(false, true).slotsLeft, 0U);
    }
    Journalled sameBoot(weak);
    ASSERT_TRUE(sameBoot.protect(2, 3));
    sameBoot.of = weak;
    EXPECT_TRUE(sameBoot.recoverAll().isComplete());
}

TEST(LostSectors, AreNamedAndNeverWritten) {
    JournalWorld world(CrashDevice::blank(200), originalDrive());
    zel::String reason;
    const auto undo = UndoJournal::create(world.journalFile, {identity(), "", 5120, true}, reason);
    const std::string pattern = sectorOf('P');
    std::string data;
    for (std::size_t i = 0; i < kDriveSectors; ++i)
        data += originalOf(i);
    ASSERT_TRUE(undo->expectWrites(pattern.data(), 512) && undo->protect(0, 10, data.data(), data.size()));
    for (std::uint32_t& sector : world.drive().state.durable)
        sector = Contents::numberOf(pattern);
    const std::size_t lost = (journal::slotOffset(5120, 0) + journal::dataAt(5120)) / 512;
    world.file().state.durable[lost] = Contents::numberOf(sectorOf('L'));
    const RecoveryReport report = world.recoverAll();
    ASSERT_EQ(report.ranges.size(), 2U);
    EXPECT_EQ(report.ranges[0],
              (FoundRange{0, 8, SectorFinding::failed, "the journal's own medium lost its data"}));
    EXPECT_EQ(report.ranges[1], (FoundRange{8, 2, SectorFinding::restored, {}}));
    EXPECT_EQ(report.slotsLeft, 1U);
    EXPECT_EQ(Contents::text(world.drive().state.durable[7]), pattern);
    EXPECT_EQ(Contents::text(world.drive().state.durable[8]), originalOf(8));
    EXPECT_TRUE(world.sink.saved.empty());
}

}  // namespace
}  // namespace libDrive2
