#include <gtest/gtest.h>

#include "JournalWorld.h"
#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2 {
namespace {

using Contained = std::vector<std::uint8_t>;

/// A device in memory.
class MemoryHandle : public BlockHandle {
public:
    explicit MemoryHandle(const CrashDevice& device) {
        for (std::size_t i = 0; i < device.state.durable.size(); ++i) {
            const std::string& text = Contents::text(device.state.now(i));
            bytes.insert(bytes.end(), text.begin(), text.end());
        }
        m_info = device.info();
    }
    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override { return {}; }
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t count) override {
        std::memcpy(buffer, bytes.data() + offset, count);
        return {};
    }
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t count) override {
        std::memcpy(bytes.data() + offset, buffer, count);
        return {};
    }
    DeviceStatus flush() override { return {}; }
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override { return {}; }
    void flip(std::size_t bit) { bytes[bit / 8] = static_cast<std::uint8_t>(bytes[bit / 8] ^ 1U << bit % 8); }

    Contained bytes;

private:
    BlockDeviceInfo m_info;
};

/// The journal and the drive of a run that was killed in its second chunk.
struct JournalDamage : testing::Test {
    enum class End { back, kept, lost };

    JournalDamage() {
        for (std::size_t i = 0; i < kDriveSectors; ++i) {
            const std::string text = originalOf(i);
            originals.insert(originals.end(), text.begin(), text.end());
        }
    }
    /// After a recovery with a journal in which these bits flipped: whether the data is back, and if not,
    /// whether a message says so; all else counts as lost.
    End recoverWith(std::initializer_list<std::size_t> bits) {
        file.bytes = wholeFile;
        drive.bytes = wholeDrive;
        for (const std::size_t bit : bits)
            file.flip(bit);
        const JournalContents contents = readJournal(file);
        CollectingSink sink;
        RecoveryReport report;
        if (contents.state == JournalState::valid && contents.needsRecovery())
            report = recover({&file, &contents, &drive, identity(), &sink});
        const bool isDeleted = contents.isSettled() || (contents.needsRecovery() && report.isComplete());
        for (std::size_t at = 0; at < drive.bytes.size(); ++at)
            if (drive.bytes[at] != originals[at] && drive.bytes[at] != wholeDrive[at])
                return End::lost;
        if (drive.bytes == originals && isDeleted)
            return End::back;
        const bool isSaid = !contents.problem.isEmpty() || report.slotsLeft > 0 || !report.problem.isEmpty();
        return !isDeleted && isSaid && !readJournal(file).isSettled() ? End::kept : End::lost;
    }
    void count(std::initializer_list<std::size_t> bits) { ++ends[static_cast<int>(recoverWith(bits))]; }
    [[nodiscard]] std::vector<std::size_t> counted() const { return {ends[0], ends[1], ends[2]}; }
    void record() const {
        RecordProperty("back", std::to_string(ends[0]));
        RecordProperty("kept", std::to_string(ends[1]));
    }
    static std::size_t bitOf(std::uint64_t at, std::uint32_t slot = 1) {
        return static_cast<std::size_t>(journal::slotOffset(kSlotBytes, slot) + at) * 8;
    }

    JournalWorld crashed = crashedWorld();
    MemoryHandle file{crashed.file()}, drive{crashed.drive()};
    Contained wholeFile = file.bytes;
    const Contained wholeDrive = drive.bytes;
    Contained originals;
    std::size_t ends[3] = {};
    static constexpr std::size_t kMarkBits = journal::kSlotHeaderBytes * 8;
};

TEST_F(JournalDamage, AnyFlippedBitIsMended) {
    ASSERT_NE(wholeDrive, originals);
    // Of blank sectors only some.
    const std::string zeros = sectorOf('\0');
    for (std::size_t at = 0; at < wholeFile.size(); at += 512) {
        const bool isBlank = std::memcmp(wholeFile.data() + at, zeros.data(), 512) == 0;
        for (std::size_t bit = at * 8; bit < (at + 512) * 8; bit += isBlank ? 61 : 1)
            count({bit});
    }
    EXPECT_GT(ends[0], 50000U);
    EXPECT_EQ(counted(), (std::vector<std::size_t>{ends[0], 0, 0}));
    record();
}

TEST_F(JournalDamage, ABitInTheHeaderAndOneInTheNoteAreMended) {
    for (std::size_t first = 0; first < kMarkBits; first += 5)
        for (std::size_t second = 0; second < kMarkBits; second += 7)
            count({bitOf(journal::kSlotHeaderAt) + first, bitOf(journal::kNoteAt) + second});
    EXPECT_EQ(counted(), (std::vector<std::size_t>{ends[0], 0, 0}));
    record();
}

TEST_F(JournalDamage, NoPairOfBitsDeletesWhatIsNeeded) {
    for (const std::uint64_t at :
         {journal::kSlotHeaderAt, journal::kNoteAt, journal::kTableAt, journal::dataAt(kSlotBytes)})
        for (std::size_t first = 0; first < kMarkBits; first += 11)
            for (std::size_t second = first + 1; second < kMarkBits; second += 53)
                count({bitOf(at) + first, bitOf(at) + second});
    EXPECT_GT(ends[1], 0U);
    EXPECT_EQ(ends[2], 0U);
    record();
}

TEST_F(JournalDamage, WithoutItsNoteADamagedHeaderIsKept) {
    std::fill_n(wholeFile.begin() + static_cast<std::ptrdiff_t>(bitOf(journal::kNoteAt) / 8),
                journal::kBlockBytes, std::uint8_t{0});
    for (std::size_t first = 0; first < kMarkBits; first += 5) {
        count({bitOf(journal::kSlotHeaderAt) + first});
        for (std::size_t second = first + 1; second < kMarkBits; second += 23)
            count({bitOf(journal::kSlotHeaderAt) + first, bitOf(journal::kSlotHeaderAt) + second});
    }
    EXPECT_GT(ends[0], 0U);
    EXPECT_GT(ends[1], 0U);
    EXPECT_EQ(ends[2], 0U);
}

TEST_F(JournalDamage, BothFileHeadersMayHaveAFlippedBit) {
    const std::size_t copy = journal::kFileHeaderBytes * 8;
    EXPECT_EQ(recoverWith({100, copy + 3000}), End::back);
    EXPECT_EQ(recoverWith({100, 3000, copy + 100, copy + 3000}), End::kept);
}

}  // namespace
}  // namespace libDrive2
