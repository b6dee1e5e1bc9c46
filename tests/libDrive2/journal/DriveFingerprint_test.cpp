#include "libDrive2/DriveFingerprint.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace libDrive2 {
namespace {

/// Sectors of which each holds its number, but for those that somebody changed.
class NumberedDrive : public BlockHandle {
public:
    NumberedDrive(std::uint64_t sectors, std::uint32_t sectorBytes) {
        m_info.bytes = sectors * sectorBytes;
        m_info.logicalSectorBytes = sectorBytes;
    }
    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override { return {}; }
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override {
        ++reads;
        if (offset + bytes > m_info.bytes)
            return {LIBDRIVE2_NO_ACCESS, "beyond the end"};
        for (std::size_t at = 0; at < bytes; at += m_info.logicalSectorBytes) {
            const std::uint64_t lba = (offset + at) / m_info.logicalSectorBytes;
            if (unreadable.contains(lba))
                return {LIBDRIVE2_MEDIA_ERROR, "bad sector"};
            auto* sector = static_cast<std::uint8_t*>(buffer) + at;
            std::memset(sector, changed.contains(lba) ? 1 : 0, m_info.logicalSectorBytes);
            std::memcpy(sector, &lba, sizeof lba);
        }
        return {};
    }
    DeviceStatus write(std::uint64_t /*offset*/, const void* /*buffer*/, std::size_t /*bytes*/) override {
        return {LIBDRIVE2_NO_ACCESS, "not to be written"};
    }
    DeviceStatus flush() override { return {}; }
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override { return {}; }

    std::set<std::uint64_t> changed, unreadable;
    int reads = 0;

private:
    BlockDeviceInfo m_info;
};

TEST(DriveFingerprint, IsSpreadOverDrivesOfAnySize) {
    const struct {
        std::uint64_t sectors;
        std::uint32_t sectorBytes;
        std::size_t samples;
        int mostReads;
    } cases[] = {
        {1, 512, 1, 1},         {10, 512, 2, 1},
        {8 * 129, 512, 129, 3}, {10, 4096, 10, 1},
        {3, 65536, 3, 1},       {1 << 20, 512, 228, 110},
        {0, 512, 0, 0},         {std::uint64_t{1} << 54, 512, 228, 110},
    };
    for (const auto& each : cases) {
        NumberedDrive drive(each.sectors, each.sectorBytes);
        const DriveFingerprint taken = takeFingerprint(drive);
        EXPECT_EQ(taken.samples.size(), each.samples) << each.sectors;
        EXPECT_LE(drive.reads, each.mostReads) << each.sectors;
        std::uint64_t end = 0;
        for (const DriveSample& sample : taken.samples) {
            EXPECT_GE(sample.lba, end);
            end = sample.lba + sample.count;
        }
        EXPECT_EQ(end, each.sectors);
        EXPECT_EQ(compareFingerprint(drive, taken, {}).changed, 0U);
        EXPECT_EQ(compareFingerprint(drive, taken, {}).compared, each.samples);
    }
}

TEST(DriveFingerprint, TellsWhatChangedOutsideOfWhatIsExcepted) {
    const NumberedDrive whole(1 << 20, 512);
    NumberedDrive drive = whole;
    const DriveFingerprint before = takeFingerprint(drive);
    const std::uint64_t between = before.samples[100].lba;
    drive.changed = {3, between + 5, (1 << 20) - 1};
    FingerprintFinding found = compareFingerprint(drive, before, {});
    EXPECT_EQ(found.changed, 3U);
    EXPECT_EQ(found.firstChanged, 0U);
    found = compareFingerprint(drive, before, {{7, 1}, {0, 0}});
    EXPECT_EQ(found.changed, 2U);
    EXPECT_EQ(found.firstChanged, between);
    EXPECT_EQ(compareFingerprint(drive, before, {{0, 8}, {between + 5, 1}, {(1 << 20) - 3, 3}}).changed, 0U);
    NumberedDrive smaller(16, 512);
    EXPECT_EQ(compareFingerprint(smaller, before, {}).compared, 2U);
}

TEST(DriveFingerprint, LeavesOutWhatCannotBeRead) {
    NumberedDrive drive(1 << 20, 512);
    drive.unreadable = {9};
    const DriveFingerprint before = takeFingerprint(drive);
    EXPECT_EQ(before.samples.size(), 227U);
    drive.unreadable = {20, 30};
    drive.changed = {31, 40};
    const FingerprintFinding found = compareFingerprint(drive, before, {});
    EXPECT_EQ(found.compared, 225U);
    EXPECT_EQ(found.changed, 1U);
    EXPECT_EQ(found.firstChanged, 40U);
}

}  // namespace
}  // namespace libDrive2
