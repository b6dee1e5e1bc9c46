#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "Fixtures.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/ScsiSBCDrive.h"
#include "libDrive2/bridges/ScsiBlockHandle.h"
#include "libDrive2/commands/ScsiAnswers.h"
#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/commands/ScsiSense.h"

// SCSI drives with sectors that no system has a block device for, and with protection information.

namespace libDrive2 {

namespace {

std::string locatorOf(std::uint32_t sectorBytes, const std::string& keys) {
    return "sim:scsi,sector-size=" + std::to_string(sectorBytes) + "," + keys;
}

SharedScsiPassThrough openScsi(const std::string& locator) {
    auto device = ScsiDevice::openScsiDevice(locator, kReadWrite, 0);
    EXPECT_TRUE(device) << lastOpenErrorStr().utf8();
    (void)device->execute(scsi::testUnitReady());  // the news of power-on
    return device;
}

std::string pattern(std::size_t bytes) {
    std::string data(bytes, '\0');
    for (std::size_t i = 0; i < bytes; ++i)
        data[i] = static_cast<char>(i * 31 + i / 251);
    return data;
}

TEST(ScsiBlockHandle, MovesBytesOfAnySectorSize) {
    for (const std::uint32_t size : {512U, 513U, 520U, 528U, 4104U, 4224U}) {
        zel::Wording reason;
        const auto handle = ScsiBlockHandle::over(openScsi(locatorOf(size, "sectors=6000")), true, reason);
        ASSERT_TRUE(handle) << reason.utf8();
        EXPECT_EQ(handle->info().bytes, std::uint64_t{6000} * size);
        EXPECT_EQ(handle->info().logicalSectorBytes, size);
        // More than one command moves, into a buffer that begins anywhere.
        const std::string data = pattern(std::size_t{5000} * size);
        std::string found(data.size() + 1, '?');
        EXPECT_TRUE(handle->write(std::uint64_t{777} * size, data.data(), data.size()).ok()) << size;
        EXPECT_TRUE(handle->read(std::uint64_t{777} * size, found.data() + 1, data.size()).ok()) << size;
        EXPECT_TRUE(found.compare(1, data.size(), data) == 0) << size;
        EXPECT_EQ(handle->read(1, found.data(), size).type, LIBDRIVE2_BAD_ARGUMENT);
        EXPECT_EQ(handle->read(0, found.data(), size - 1).type, LIBDRIVE2_BAD_ARGUMENT);
        EXPECT_FALSE(handle->read(std::uint64_t{5999} * size, found.data(), std::size_t{2} * size).ok());
    }
}

TEST(ScsiBlockHandle, TellsWhatFails) {
    zel::Wording reason;
    std::vector<std::uint8_t> sector(520);
    const auto faulty = ScsiBlockHandle::over(openScsi(locatorOf(520, "bad=5")), false, reason);
    ASSERT_TRUE(faulty) << reason.utf8();
    const DeviceStatus status = faulty->read(5 * 520, sector.data(), sector.size());
    EXPECT_EQ(status.type, LIBDRIVE2_MEDIA_ERROR);
    EXPECT_NE(status.text.utf8().find("unrecovered read error"), std::string::npos) << status.text.utf8();
    EXPECT_EQ(faulty->write(0, sector.data(), sector.size()).type, LIBDRIVE2_WRITE_PROTECTED_DEVICE);
}

TEST(OddSectors, HaveNoBlockInterfaceButThatOfTheLease) {
    const std::string locator = locatorOf(528, "sectors=1000");
    EXPECT_FALSE(openBlock(locator));
    EXPECT_NE(lastOpenErrorStr().utf8().find("528 bytes"), std::string::npos);
    DeviceStatus failure;
    const auto lease = DeviceLease::take(locator, LeasePurpose::write, failure);
    ASSERT_NE(lease, nullptr) << failure.text.utf8();
    EXPECT_EQ(lease->identity().sectorBytes, 528U);
    EXPECT_EQ(lease->identity().sectors, 1000U);
    zel::Wording reason;
    std::vector<std::uint8_t> sector(528);
    const auto handle = lease->openBlock(true, reason);
    ASSERT_TRUE(handle) << reason.utf8();
    EXPECT_TRUE(handle->write(999 * 528, sector.data(), sector.size()).ok());
}

TEST(ProtectionInformation, IsToldByItsFields) {
    std::array<std::uint8_t, 32> answer{};
    answer[7] = 99;     // last LBA
    answer[10] = 0x02;  // 520 bytes
    answer[11] = 0x08;
    const struct {
        std::uint8_t field, type;
    } cases[] = {{0x00, 0}, {0x01, 1}, {0x03, 2}, {0x05, 3}, {0x07, 4}, {0x06, 0}};
    for (const auto& [field, type] : cases) {
        answer[12] = field;
        const auto capacity = scsi::parseCapacity16(answer);
        ASSERT_TRUE(capacity);
        EXPECT_EQ(capacity->protectionType, type) << int{field};
        EXPECT_EQ(capacity->sectorBytes, 520U);
    }
    // Caching page, then control page with ATO; then one that ends before it.
    const std::vector<std::uint8_t> tags = {17, 0, 0, 0, 0x08, 2, 0x04, 0, 0x0A,
                                            10, 0, 0, 0, 0x80, 0, 0,    0, 0};
    EXPECT_TRUE(scsi::parseModeSense6(tags)->hostOwnsTags);
    EXPECT_EQ(scsi::parseModeSense6(tags)->writeCacheEnabled, true);
    EXPECT_FALSE(scsi::parseModeSense6(std::span(tags).first(13))->hostOwnsTags);
}

TEST(ProtectionInformation, ThatIsWrongIsAFaultOfItsSector) {
    for (const auto& [qualifier, what] :
         {std::pair{1, "guard"}, {2, "application tag"}, {3, "reference tag"}}) {
        scsi::Sense sense;
        sense.key = 0xB;
        sense.code = 0x10;
        sense.qualifier = static_cast<std::uint8_t>(qualifier);
        const DeviceStatus status = scsi::statusOf(sense);
        EXPECT_EQ(status.type, LIBDRIVE2_MEDIA_ERROR);
        EXPECT_NE(status.text.utf8().find(what), std::string::npos) << status.text.utf8();
    }
}

TEST(ProtectionInformation, DrivesRefuseWhatRealOnesRefuse) {
    std::vector<std::uint8_t> sector(520);
    const auto senseOf = [&](const std::string& keys, ScsiRequest request, std::uint8_t protect) {
        request.cdb[1] = static_cast<std::uint8_t>(request.cdb[1] | protect << 5);
        const auto device = openScsi(locatorOf(520, keys));
        const ScsiResponse response = device->execute(scsi::withData(request, sector.data(), sector.size()));
        const auto sense = scsi::parseSense(scsi::senseOf(response));
        return sense ? (sense->key << 16 | sense->code << 8 | sense->qualifier) : 0;
    };
    constexpr int kInvalidOpcode = 0x052000;
    constexpr int kInvalidField = 0x052400;
    constexpr std::uint64_t kFar = std::uint64_t{1} << 40;
    for (const char* keys : {"protection=1", "protection=3", "serial=NONE"}) {
        EXPECT_EQ(senseOf(keys, scsi::read(7, 1, false), 0), 0) << keys;
        EXPECT_EQ(senseOf(keys, scsi::write(7, 1, false), 0), 0) << keys;
        EXPECT_EQ(senseOf(keys, scsi::read(7, 1, false), 1), kInvalidField) << keys;
    }
    const std::string type2 = "protection=2,sectors=2199023255552";
    for (const ScsiRequest& request :
         {scsi::read(7, 1, false), scsi::read(kFar, 1, false), scsi::write(7, 1, false),
          scsi::write(kFar, 1, false), scsi::verify(7, 1), scsi::verify(kFar, 1)})
        EXPECT_EQ(senseOf(type2, request, 0), kInvalidOpcode) << int{request.cdb[0]};
}

TEST(ProtectionInformation, OfTypeTwoIsRefusedWithTheReason) {
    ScsiSBCDrive drive(openScsi(locatorOf(520, "protection=2")));
    EXPECT_EQ(drive.getSectorCount(), 0U);
    std::vector<std::uint8_t> sector(520);
    EXPECT_FALSE(drive.queryMediumInfo());
    EXPECT_EQ(drive.lastError, LIBDRIVE2_NOT_SUPPORTED);
    EXPECT_NE(drive.getLastErrorStr().utf8().find("protection information of type 2"), std::string::npos);
}

TEST(ProtectionInformation, TagsOfOthersAreSeenByTheLease) {
    for (const auto& [keys, expected] :
         {std::pair{"protection=1,tags", true}, {"protection=3", false}, {"tags", false}}) {
        DeviceStatus failure;
        const auto lease = DeviceLease::take(locatorOf(520, keys), LeasePurpose::write, failure);
        ASSERT_NE(lease, nullptr) << failure.text.utf8();
        EXPECT_EQ(lease->holdsForeignTags(), expected) << keys;
    }
}

}  // namespace

}  // namespace libDrive2
