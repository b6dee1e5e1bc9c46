#include <cerrno>
#include <cstring>
#include <optional>

#include "Fixtures.h"
#include "libDrive2/OSDrive.h"
#include "libDrive2/linux/ErrnoError.h"
#include "linux/LoopDevice.h"
#include "zel/Buffer.h"

namespace libDrive2 {
namespace {

constexpr std::uint32_t kSector = 512;

/// What every block handle does, whatever is behind it: 16 MiB of a model, of a file, of a loop device.
class BlockContract : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        m_locator = GetParam() == std::string("Simulated") ? "sim:disk,sectors=32768" : m_image.path;
        if (GetParam() == std::string("LoopDevice")) {
            m_device.emplace(m_image.path);
            if (m_device->path.empty())
                GTEST_SKIP() << m_device->problem;
            m_locator = m_device->path;
        }
        m_handle = openBlock(m_locator);
        ASSERT_TRUE(m_handle) << lastOpenErrorStr().utf8();
        m_drive = std::make_unique<OSDrive>(m_handle, m_locator);
    }
    /// Transfers go through a page-aligned buffer moved by `shift` bytes.
    bool write(std::uint64_t lba, const std::string& data, std::size_t shift = 0) {
        zel::Buffer buffer(data.size() + shift);
        std::memcpy(buffer.data() + shift, data.data(), data.size());
        const auto bytes = static_cast<std::uint32_t>(data.size());
        return m_drive->writeSector(lba, bytes / kSector, buffer.data() + shift, bytes);
    }
    std::string read(std::uint64_t lba, std::uint32_t count, std::size_t shift = 0) {
        zel::Buffer buffer(std::size_t{count} * kSector + shift);
        std::memset(buffer.data(), '?', buffer.size());
        if (!m_drive->readSector(lba, count, buffer.data() + shift, count * kSector))
            return m_drive->getLastErrorStr().utf8();
        return {reinterpret_cast<const char*>(buffer.data()) + shift, std::size_t{count} * kSector};
    }
    /// Data in which all words differ.
    static std::string pattern(std::uint32_t count, std::uint64_t seed) {
        std::string data(std::size_t{count} * kSector, '\0');
        for (std::uint64_t at = 0, word = 0; at < data.size(); at += sizeof word) {
            word = (at + seed) * 0x9E3779B97F4A7C15U;
            std::memcpy(data.data() + at, &word, sizeof word);
        }
        return data;
    }

    TempFile m_image{16 << 20};
    std::optional<LoopDevice> m_device;
    std::string m_locator;
    SharedBlockHandle m_handle;
    std::unique_ptr<OSDrive> m_drive;
};

TEST_P(BlockContract, TellsItsSizesAndEndsThere) {
    EXPECT_EQ(m_drive->getSectorSize(), 512U);
    EXPECT_EQ(m_drive->getSectorCount(), 32768U);
    EXPECT_TRUE(m_drive->isMedium() && m_drive->isMediaPresent());
    EXPECT_EQ(m_drive->getOptimalRd(3), 3);
    EXPECT_GE(m_drive->getOptimalWr(65535), 64);
    EXPECT_EQ(read(32767, 1).size(), 512U);
    EXPECT_EQ(read(32767, 2), "sectors 32767 through 32768 lie beyond the end of the medium");
    EXPECT_EQ(m_drive->lastError, LIBDRIVE2_BAD_ARGUMENT);
}

TEST_P(BlockContract, ReadsBackWhatWasWrittenAndNothingElse) {
    const std::pair<std::uint64_t, std::uint32_t> ranges[] = {{0, 1},        {8, 8},        {17, 3},
                                                              {4099, 12345}, {20480, 4096}, {32767, 1}};
    const std::string between = read(20, 4);
    for (const auto& [lba, count] : ranges)
        ASSERT_TRUE(write(lba, pattern(count, lba))) << m_drive->getLastErrorStr().utf8();
    EXPECT_TRUE(m_drive->flushCache() && m_drive->clearCache() && m_drive->seekSector(17) &&
                m_drive->reOpenHandle());
    for (const auto& [lba, count] : ranges) {
        EXPECT_TRUE(read(lba, count) == pattern(count, lba)) << lba;
        EXPECT_TRUE(read(lba + count - 1, 1) == pattern(count, lba).substr((count - 1) * kSector)) << lba;
    }
    EXPECT_TRUE(read(20, 4) == between);
}

TEST_P(BlockContract, TakesBuffersOfAnyAlignment) {
    for (const std::uint32_t count : {1U, 8U, 8192U})
        for (const std::size_t shift : {1U, 512U}) {
            ASSERT_TRUE(write(16, pattern(count, shift), shift));
            EXPECT_TRUE(read(16, count) == pattern(count, shift)) << count << " " << shift;
            EXPECT_TRUE(read(16, count, shift) == pattern(count, shift)) << count << " " << shift;
        }
}

TEST_P(BlockContract, RefusesWritesThroughAReadOnlyOpen) {
    m_drive = std::make_unique<OSDrive>(openBlock(m_locator, kAccessRead), m_locator);
    const std::string before = read(5, 1);
    EXPECT_FALSE(write(5, pattern(1, 5)));
    EXPECT_EQ(m_drive->lastError, LIBDRIVE2_WRITE_PROTECTED_DEVICE);
    EXPECT_EQ(m_drive->getLastErrorStr().utf8(),
              "writing sector 5 of " + m_locator + " failed: the device was opened for reading only");
    EXPECT_TRUE(read(5, 1) == before);
}

INSTANTIATE_TEST_SUITE_P(On, BlockContract, testing::Values("Simulated", "ImageFile", "LoopDevice"),
                         [](const auto& on) { return std::string(on.param); });

TEST(LinuxBlockHandle, SaysWhyAPathIsNoDrive) {
    const std::pair<std::string, std::string> cases[] = {
        {"/proc", "/proc is a directory, not a drive or an image file"},
        {"/dev/null", "/dev/null is neither a block device nor an image file"},
        {"/no/such/drive", "/no/such/drive cannot be opened: No such file or directory"},
        {"/dev/null/x", "/dev/null/x cannot be opened: Not a directory"}};
    for (const auto& [path, text] : cases) {
        EXPECT_FALSE(openBlock(path)) << path;
        EXPECT_EQ(lastOpenErrorStr().utf8(), text);
    }
}

TEST(LinuxBlockHandle, TransfersReachTheirPlaceInTheFile) {
    const TempFile file((4 << 20) + 100), empty(0);
    const auto handle = openBlock(file.path);
    EXPECT_EQ(OSDrive(handle, file.path).getSectorCount(), 8192U);
    EXPECT_EQ(OSDrive(openBlock(empty.path), empty.path).getSectorCount(), 0U);
    const std::pair<std::uint64_t, std::size_t> transfers[] = {
        {512, 512}, {8192, 4096}, {(1 << 20) + 512, 2 << 20}};
    for (const auto& [offset, bytes] : transfers) {
        file.put(offset, std::string(bytes, 'f'));
        std::string data(bytes, 'h');
        EXPECT_TRUE(handle->read(offset, data.data(), bytes).ok());
        EXPECT_TRUE(data == std::string(bytes, 'f')) << offset;
        EXPECT_TRUE(handle->write(offset, std::string(bytes, 'h').data(), bytes).ok());
        EXPECT_TRUE(file.bytes(offset - 1, bytes + 2) == '\0' + std::string(bytes, 'h') + '\0') << offset;
    }
}

TEST(LinuxBlockHandle, AFileThatBecameSmallerIsNoAccess) {
    for (const std::uint64_t left : {0U, 4096U, 5000U}) {
        const TempFile file(4 << 20);
        const auto handle = openBlock(file.path);
        std::filesystem::resize_file(file.path, left);
        zel::Buffer buffer((4 << 20) + 1);
        const struct {
            std::uint64_t offset;
            std::size_t bytes, shift;
        } reads[] = {{0, 8192, 0}, {512, 8192, 0}, {0, 8192, 1}, {0, 4 << 20, 0}, {512, 2 << 20, 0}};
        for (const auto& r : reads) {
            const DeviceStatus status = handle->read(r.offset, buffer.data() + r.shift, r.bytes);
            EXPECT_EQ(status.type, LIBDRIVE2_NO_ACCESS) << left << " left, read at " << r.offset;
            EXPECT_EQ(status.text, "it ends before these sectors: it became smaller");
        }
    }
}

TEST(ErrnoError, TellsCausesApart) {
    const std::pair<_LIBDRIVE2_ERROR_TYPES, std::vector<int>> cases[] = {
        {LIBDRIVE2_NO_ERROR, {0}},
        {LIBDRIVE2_MEDIA_ERROR, {EIO, ENODATA}},
        {LIBDRIVE2_DRIVE_ERROR, {EREMOTEIO}},
        {LIBDRIVE2_LINK_ERROR, {EILSEQ, ENOLINK}},
        {LIBDRIVE2_TIMEOUT, {ETIMEDOUT}},
        {LIBDRIVE2_BUSY, {EBUSY, EAGAIN, EBADE}},
        {LIBDRIVE2_WRITE_PROTECTED_DEVICE, {EROFS, EPERM}},
        {LIBDRIVE2_NOT_SUPPORTED, {EOPNOTSUPP, ENOTTY}},
        {LIBDRIVE2_BAD_ARGUMENT, {EINVAL, EFAULT}},
        {LIBDRIVE2_NO_ACCESS,
         {ENXIO, ENODEV, ENOMEDIUM, ENOENT, EACCES, ESHUTDOWN, ENOSPC, EDQUOT, EFBIG, 4095}}};
    for (const auto& [type, values] : cases)
        for (const int value : values)
            EXPECT_EQ(errorTypeOf(value), type) << value;
}

}  // namespace
}  // namespace libDrive2
