#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "Fixtures.h"
#include "libDrive2/Drive.h"

namespace libDrive2 {
namespace {

using Lbas = std::set<std::uint64_t>;

/// 40 sectors of 512 bytes, one letter a sector, with spots and states that fail.
class LetterDrive : public Drive, public DriveObserver {
public:
    std::string letters = std::string(40, 'o');
    Lbas unreadable, unwritable;
    _LIBDRIVE2_ERROR_TYPES flushOutcome = LIBDRIVE2_NO_ERROR;
    _LIBDRIVE2_ERROR_TYPES state = LIBDRIVE2_NO_ERROR;
    _LIBDRIVE2_ERROR_TYPES unwritableAs = LIBDRIVE2_MEDIA_ERROR;
    int refusals = 0;     ///< so many transfers fail with the state
    int reopensToGo = 0;  ///< until one brings it back; negative: it takes none
    std::uint64_t sectors = 40, sectorsAfterReopen = 40;
    int observed = 0;
    std::size_t written = 0;

    std::uint32_t getSectorSize() override { return 512; }
    std::uint64_t getSectorCount() override { return sectors; }
    void onOperation(const DriveOperationReport& /*report*/) override { ++observed; }
    bool reOpenHandle() override {
        if (--reopensToGo == 0)
            refusals = 0;
        sectors = sectorsAfterReopen;
        return reopensToGo <= 0;
    }

protected:
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                        std::uint32_t) override {
        if (const auto error = judge(unreadable, lba, count, LIBDRIVE2_MEDIA_ERROR); error != 0)
            return error;
        for (std::uint32_t i = 0; i < count; ++i)
            std::memset(static_cast<char*>(buffer) + std::size_t{512} * i, letters[lba + i], 512);
        return LIBDRIVE2_NO_ERROR;
    }
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                         std::uint32_t) override {
        if (const auto error = judge(unwritable, lba, count, unwritableAs); error != 0)
            return error;
        for (std::uint32_t i = 0; i < count; ++i) {
            letters[lba + i] = static_cast<const char*>(buffer)[std::size_t{512} * i];
            unreadable.erase(lba + i);
        }
        written += count;
        return LIBDRIVE2_NO_ERROR;
    }
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override { return fail(flushOutcome, "it does not flush"); }

private:
    _LIBDRIVE2_ERROR_TYPES judge(const Lbas& bad, std::uint64_t lba, std::uint32_t count,
                                 _LIBDRIVE2_ERROR_TYPES type) {
        if (refusals > 0) {
            --refusals;
            return fail(state, "it refuses");
        }
        const auto first = bad.lower_bound(lba);
        return first != bad.end() && *first < lba + count ? fail(type, "a bad spot") : LIBDRIVE2_NO_ERROR;
    }
};

/// Keeps the data in memory; may lose it, but for what it can compare with.
class LetterJournal : public SectorJournal {
public:
    std::map<std::pair<std::uint64_t, std::uint32_t>, std::string> kept;
    bool isReadable = true;

    bool expectWrites(const void*, std::size_t) override { return true; }
    bool protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override {
        return kept.emplace(std::pair{lba, count}, std::string(static_cast<const char*>(data), bytes)).second;
    }
    [[nodiscard]] bool verifiesRestores() const override { return false; }
    bool holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override {
        return kept.at({lba, count}) == std::string(static_cast<const char*>(data), bytes);
    }
    bool readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) override {
        std::memcpy(data, kept.at({lba, count}).data(), bytes);
        return isReadable;
    }
    bool release(std::uint64_t lba, std::uint32_t count) override { return kept.erase({lba, count}) == 1; }
    [[nodiscard]] zel::Wording lastErrorStr() const override { return "the journal is lost"; }
};

class RestoreTest : public testing::Test {
protected:
    RestoreTest() {
        drive.setJournal(&journal);
        drive.setObserver(&drive);
        protect();
        drive.letters = "oooxxxxxxxoooooooooooooxxooooooooooooxxx";
    }
    void protect() {
        const std::string data(20 * std::size_t{512}, 'o');
        EXPECT_TRUE(drive.protectSectors(0, 10, data.data(), 5120));
        EXPECT_TRUE(drive.protectSectors(20, 20, data.data(), data.size()));
    }
    /// "3+7 23+2" of what is left.
    std::string restore(const std::function<bool()>& isSameDrive = nullptr) {
        outcome = drive.restoreProtected(isSameDrive);
        std::string text;
        for (const SectorSpan& span : outcome.left)
            text += " " + std::to_string(span.lba) + "+" + std::to_string(span.count);
        return text.empty() ? text : text.substr(1);
    }

    VirtualTime time;
    LetterDrive drive;
    LetterJournal journal;
    RestoreOutcome outcome;
    const std::string all = "0+10 20+20";
};

TEST_F(RestoreTest, WritesWhatDiffersAndNamesWhatStays) {
    // What holds its data is not written: there it would fail.
    drive.unwritable = {0, 4, 12, 30, 38};
    drive.unwritableAs = LIBDRIVE2_NO_ACCESS;
    drive.unreadable = {7};
    EXPECT_EQ(restore(), "4+1 38+1");
    EXPECT_EQ(drive.letters,
              "ooooxooooooooooooooooooooooooooooooooox"
              "o");
    EXPECT_EQ(outcome.reason, "a bad spot");
    EXPECT_EQ(outcome.putBack, 10U);
    EXPECT_EQ(drive.written, 10U);
    EXPECT_EQ(drive.observed, 0);
    EXPECT_EQ(journal.kept.size(), 2U);
    drive.unwritable = {38};
    EXPECT_EQ(restore(), "38+1");
    EXPECT_EQ(journal.kept.size(), 1U);
    drive.unwritable.clear();
    EXPECT_EQ(restore(), "");
    EXPECT_EQ(drive.letters, std::string(40, 'o'));
    EXPECT_TRUE(journal.kept.empty());
    EXPECT_TRUE(drive.readSector(0, 1, std::vector<char>(512).data(), 512));
    EXPECT_EQ(drive.observed, 1);
}

TEST_F(RestoreTest, WaitsForADriveThatComesBack) {
    const std::string left = drive.letters;
    const struct {
        _LIBDRIVE2_ERROR_TYPES state;
        int refusals, reopensToGo;
        bool comesBack;
    } cases[] = {{LIBDRIVE2_BUSY, 3, -1, true},          {LIBDRIVE2_BUSY, 1000, -1, false},
                 {LIBDRIVE2_NO_ACCESS, 1000, 1, true},   {LIBDRIVE2_NO_ACCESS, 1000, 4, true},
                 {LIBDRIVE2_NO_ACCESS, 1000, 9, false},  {LIBDRIVE2_NO_ACCESS, 1, 1000, true},
                 {LIBDRIVE2_TIMEOUT, 1000, 1000, false}, {LIBDRIVE2_LINK_ERROR, 1, 1000, true}};
    for (const auto& c : cases) {
        drive.letters = left;
        drive.state = c.state;
        drive.refusals = c.refusals;
        drive.reopensToGo = c.reopensToGo;
        EXPECT_EQ(restore(), c.comesBack ? "" : all) << c.state << " " << c.reopensToGo;
        EXPECT_EQ(drive.letters == std::string(40, 'o'), c.comesBack);
        EXPECT_LT(zel::Clock::current().now(), std::chrono::seconds(20));
        if (c.comesBack)
            protect();
    }
}

TEST_F(RestoreTest, LeavesAnotherDriveAlone) {
    const std::string left = drive.letters;
    drive.state = LIBDRIVE2_NO_ACCESS;
    for (const bool isOfItsSize : {false, true}) {
        drive.refusals = 2;
        drive.reopensToGo = 1;
        drive.sectorsAfterReopen = isOfItsSize ? 40 : 39;
        EXPECT_EQ(restore([&] { return !isOfItsSize; }), all);
        EXPECT_EQ(outcome.reason, "another drive has taken its place");
        EXPECT_EQ(drive.letters, left) << isOfItsSize;
        drive.sectors = 40;
    }
}

TEST_F(RestoreTest, ReleasesOnlyWhatIsProven) {
    drive.flushOutcome = LIBDRIVE2_MEDIA_ERROR;
    EXPECT_EQ(restore(), all);
    EXPECT_EQ(outcome.reason, "it does not flush");
    EXPECT_EQ(drive.letters, std::string(40, 'o'));
    drive.flushOutcome = LIBDRIVE2_NO_ERROR;
    drive.letters[5] = 'x';
    journal.isReadable = false;
    EXPECT_EQ(restore(), "0+10");  // the other one fits its checksum
    EXPECT_EQ(outcome.reason, "the journal is lost");
    EXPECT_EQ(journal.kept.size(), 1U);
}

}  // namespace
}  // namespace libDrive2
