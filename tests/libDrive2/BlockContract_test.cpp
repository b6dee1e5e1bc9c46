#include "BlockContract.h"

namespace libDrive2 {
namespace {

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

struct Simulated : ContractDevice {
    Simulated() { locator = "sim:disk,sectors=32768"; }
};
struct ImageFile : ContractDevice {
    explicit ImageFile(const std::string& image) { locator = image; }
};
const ContractPlace kPlaces[] = {
    {"Simulated",
     [](const std::string&) -> std::unique_ptr<ContractDevice> { return std::make_unique<Simulated>(); }},
    {"ImageFile", [](const std::string& image) -> std::unique_ptr<ContractDevice> {
         return std::make_unique<ImageFile>(image);
     }}};
INSTANTIATE_TEST_SUITE_P(On, BlockContract, testing::ValuesIn(kPlaces),
                         [](const auto& on) { return std::string(on.param.name); });

TEST(ImageFiles, TransfersReachTheirPlaceInTheFile) {
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

TEST(ImageFiles, OneThatBecameSmallerIsNoAccess) {
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

}  // namespace
}  // namespace libDrive2
