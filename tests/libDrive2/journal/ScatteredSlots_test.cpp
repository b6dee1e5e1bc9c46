#include <gmock/gmock.h>

#include <cstring>

#include "JournalWorld.h"
#include "libDrive2/AddressStamp.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/journal/JournalLayout.h"
#include "libDrive2/journal/SectorMatcher.h"
#include "libDrive2/journal/SpanTable.h"

namespace libDrive2 {
namespace {

using Sector = std::vector<std::uint8_t>;
using testing::HasSubstr;

constexpr std::size_t kBytes = 512;

SharedBlockHandle openSim(const std::string& locator) {
    return OsDevice::openOsDevice(locator, kAccessRead | kAccessWrite, kShareRead, kOpenExisting, 0);
}

std::vector<std::uint8_t> contentsOf(BlockHandle& device) {
    std::vector<std::uint8_t> bytes(device.info().bytes);
    EXPECT_TRUE(device.read(0, bytes.data(), bytes.size()).ok());
    return bytes;
}

/// A run of stamps over some sectors of a drive, by hand.
struct Stamped : testing::Test {
    static constexpr std::uint64_t kSlot = 64 << 10;

    explicit Stamped(const std::string& kind = "sim:disk,sectors=48,real-sectors=20,beyond=wrap")
        : drive(openSim(kind)),
          file(openSim("sim:disk,serial=journal,sectors=1000")),
          before(contentsOf(*drive)),
          identityOfDrive{"Model", "1", 48, kBytes, "wwid:2"} {
        const std::vector<std::uint8_t> blank(file->info().bytes);
        EXPECT_TRUE(file->write(0, blank.data(), blank.size()).ok());
        zel::String reason;
        undo = UndoJournal::create(file, {identityOfDrive, "drive", kSlot, true, takeFingerprint(*drive)},
                                   reason);
        Sector example(kBytes);
        stamp.fill(0, example);
        EXPECT_TRUE(undo != nullptr && undo->expectWrites(example.data(), example.size()));
    }
    [[nodiscard]] Sector original(std::uint64_t lba, std::uint64_t count = 1) const {
        const auto first = before.begin() + static_cast<std::ptrdiff_t>(lba * kBytes);
        return {first, first + static_cast<std::ptrdiff_t>(count * kBytes)};
    }
    [[nodiscard]] Sector saved() const {
        Sector data;
        for (const SectorSpan& span : spans) {
            const Sector part = original(span.lba, span.count);
            data.insert(data.end(), part.begin(), part.end());
        }
        return data;
    }
    bool protect() {
        const Sector data = saved();
        return undo->protectScattered(spans, data.data(), data.size());
    }
    void put(std::uint64_t lba, const Sector& sector) {
        EXPECT_TRUE(drive->write(lba * kBytes, sector.data(), kBytes).ok());
    }
    [[nodiscard]] Sector stampOf(std::uint64_t lba) const {
        Sector sector(kBytes);
        stamp.fill(lba, sector);
        return sector;
    }
    RecoveryReport recoverAll(bool force = false) {
        const JournalContents contents = readJournal(*file);
        RecoveryTask task{file.get(), &contents, drive.get(), identityOfDrive, &sink};
        task.force = force;
        return recover(task);
    }

    SharedBlockHandle drive, file;
    std::vector<std::uint8_t> before;
    DriveIdentity identityOfDrive;
    AddressStamp stamp;
    std::unique_ptr<UndoJournal> undo;
    CollectingSink sink;
    const std::vector<SectorSpan> spans{{0, 2}, {7, 1}, {20, 1}, {27, 4}, {40, 2}};
    const std::vector<std::uint64_t> lbas{0, 1, 7, 20, 27, 28, 29, 30, 40, 41};
};

/// The drive has sectors 0, 1 and 7 behind several of these. Whenever the run ends, and wherever it tears the
/// sector that it was writing, recovery leaves every byte as it was.
TEST_F(Stamped, RecoveryUndoesARunThatEndedAnywhere) {
    for (std::size_t writes = 0; writes <= 2 * lbas.size(); ++writes)
        for (const std::size_t torn : {0U, 3U, 64U, 500U}) {
            ASSERT_TRUE(protect());
            for (std::size_t n = 0; n < writes; ++n) {
                const bool isBack = n >= lbas.size();
                const std::uint64_t lba = isBack ? lbas[2 * lbas.size() - 1 - n] : lbas[n];
                const Sector wanted = isBack ? original(lba) : stampOf(lba);
                Sector sector(kBytes);
                EXPECT_TRUE(drive->read(lba * kBytes, sector.data(), kBytes).ok());
                std::copy_n(wanted.begin(), n + 1 == writes && torn > 0 ? torn : kBytes, sector.begin());
                put(lba, sector);
            }
            const RecoveryReport report = recoverAll();
            ASSERT_TRUE(report.isComplete())
                << writes << " writes, torn at " << torn << ": " << report.problem.utf8();
            ASSERT_EQ(contentsOf(*drive), before) << writes << " writes, torn at " << torn;
            ASSERT_EQ(readJournal(*file).open.size(), 0U);
            ASSERT_TRUE(undo->release(0, 10));
        }
}

/// While the program runs, without a recovery.
TEST_F(Stamped, WhatATestLeavesIsPutBack) {
    OSDrive tested(drive, "drive");
    tested.setJournal(undo.get());
    const Sector data = saved();
    for (const bool isReleased : {true, false}) {
        ASSERT_TRUE(tested.protectScattered(spans, data.data(), data.size()));
        for (const std::uint64_t lba : lbas)
            put(lba, stampOf(lba));
        EXPECT_FALSE(tested.releaseSectors(0, 10));  // they do not read back as before
        EXPECT_TRUE(undo->hasOpenSlots());
        for (const std::uint64_t lba : lbas)
            put(lba, isReleased ? original(lba) : stampOf(lba));
        EXPECT_EQ(tested.releaseSectors(0, 10), isReleased);
        const RestoreOutcome outcome = tested.restoreProtected();
        EXPECT_EQ(outcome.putBack, isReleased ? 0 : lbas.size());
        EXPECT_TRUE(outcome.left.empty());
        EXPECT_FALSE(undo->hasOpenSlots());
        EXPECT_EQ(contentsOf(*drive), before);
    }
}

TEST_F(Stamped, TheJournalKnowsItsSectors) {
    ASSERT_TRUE(protect());
    const JournalContents contents = readJournal(*file);
    ASSERT_EQ(contents.open.size(), 1U);
    EXPECT_EQ(contents.open[0].spans, spans);
    EXPECT_EQ(contents.open[0].count, lbas.size());
    Sector back(lbas.size() * kBytes);
    ASSERT_TRUE(undo->readOriginal(0, 10, back.data(), back.size()));
    EXPECT_EQ(Sector(back.begin() + 3 * kBytes, back.begin() + 4 * kBytes), original(20));
    EXPECT_TRUE(undo->holdsOriginal(0, 10, back.data(), back.size()));
    back[5] ^= 1;
    EXPECT_FALSE(undo->holdsOriginal(0, 10, back.data(), back.size()));
    // Nothing of them is protected twice.
    EXPECT_FALSE(undo->protect(28, 1, back.data(), kBytes));
    EXPECT_TRUE(undo->protect(31, 1, original(31).data(), kBytes));
    EXPECT_EQ(readJournal(*file).open.size(), 2U);
    const SectorSpan unordered[] = {{7, 1}, {0, 1}};
    EXPECT_FALSE(undo->protectScattered(unordered, back.data(), 2 * kBytes));
}

TEST_F(Stamped, WhatOthersWroteKeepsAllOfThem) {
    ASSERT_TRUE(protect());
    for (const std::uint64_t lba : lbas)
        put(lba, stampOf(lba));
    Sector foreign = stampOf(41);
    AddressStamp(stamp.run() + 1).fill(41, foreign);  // of another run
    put(41, foreign);
    const std::vector<std::uint8_t> found = contentsOf(*drive);
    EXPECT_EQ(recoverAll().slotsLeft, 1U);
    EXPECT_EQ(contentsOf(*drive), found);
    EXPECT_EQ(sink.saved.count({30, RecoverySink::What::original}), 1U);
    EXPECT_TRUE(recoverAll(true).isComplete());
    EXPECT_EQ(contentsOf(*drive), before);
}

/// Damage to the journal's medium costs what it hits: a sector's data that sector, the table all of them.
TEST_F(Stamped, DamageIsToldToTheSector) {
    const std::uint64_t slot = journal::slotOffset(kSlot, 0);
    const std::uint64_t data = slot + journal::dataAt(kSlot);
    const std::vector<std::uint8_t> noise(journal::kBlockBytes, 0xA7);
    ASSERT_TRUE(protect());
    for (const std::uint64_t lba : lbas)
        put(lba, stampOf(lba));
    ASSERT_TRUE(file->write(data + 2 * journal::kBlockBytes, noise.data(), noise.size()).ok());
    JournalContents contents = readJournal(*file);
    ASSERT_EQ(contents.open.size(), 1U);
    EXPECT_EQ(contents.open[0].lost, (std::vector<SectorSpan>{{40, 2}}));
    EXPECT_EQ(recoverAll().count(SectorFinding::failed), 2U);
    ASSERT_TRUE(file->write(data, noise.data(), noise.size()).ok());
    contents = readJournal(*file);
    EXPECT_EQ(contents.open.size(), 0U);
    ASSERT_EQ(contents.damaged.size(), 1U);
    EXPECT_EQ(contents.damaged[0].count, 0U);
}

/// A journal of the version before is alike but for its number.
TEST_F(Stamped, AnOlderJournalIsRecovered) {
    ASSERT_TRUE(undo->protect(3, 2, original(3, 2).data(), 2 * kBytes));
    put(3, stampOf(3));
    std::vector<std::uint8_t> bytes = contentsOf(*file);
    for (std::uint32_t copy = 0; copy < journal::kFileHeaders; ++copy) {
        std::uint8_t* const header = bytes.data() + copy * journal::kFileHeaderBytes;
        ASSERT_EQ(header[8], 3);
        header[8] = 2;
        const std::size_t sumAt = journal::kFileHeaderBytes - sizeof(std::uint64_t) - sizeof(Checksum);
        const Checksum sum = checksumOf({header, sumAt});
        std::memcpy(header + sumAt, &sum.low, 8);
        std::memcpy(header + sumAt + 8, &sum.high, 8);
    }
    ASSERT_TRUE(file->write(0, bytes.data(), bytes.size()).ok());
    EXPECT_TRUE(recoverAll().isComplete());
    EXPECT_EQ(contentsOf(*drive), before);
}

TEST(SpanTable, RefusesNonsense) {
    const auto decoded = [](std::vector<SectorSpan> spans, std::uint64_t sectors) {
        std::vector<std::uint8_t> table(journal::kBlockBytes);
        journal::encodeSpans(spans, table);
        return journal::decodeSpans(table, static_cast<std::uint32_t>(spans.size()), sectors).has_value();
    };
    EXPECT_TRUE(decoded({{0, 5}, {5, 1}, {9, 1}}, 10));
    EXPECT_FALSE(decoded({{0, 5}, {4, 1}}, 10));
    EXPECT_FALSE(decoded({{5, 1}, {0, 1}}, 10));
    EXPECT_FALSE(decoded({{0, 0}}, 10));
    EXPECT_FALSE(decoded({{9, 2}}, 10));
    EXPECT_FALSE(decoded({{~std::uint64_t{0}, 2}}, 10));
}

}  // namespace
}  // namespace libDrive2
