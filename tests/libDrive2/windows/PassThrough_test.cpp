#include <gmock/gmock.h>

#include <cstring>

#include "Fixtures.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/ScsiSBCDrive.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/commands/ScsiCommands.h"
#include "support/windows/PlayedDrives.h"
#include "zel/Buffer.h"

namespace libDrive2 {
namespace {

using namespace testing_support;
using testing::HasSubstr;

constexpr const wchar_t* kWidePath = L"\\\\.\\PhysicalDrive1";
const std::string kPath = "\\\\.\\PhysicalDrive1";

class PassThroughTest : public testing::Test {
protected:
    PassThroughTest() : disk(playDisk(calls.device(kWidePath), 1000)) {}
    ~PassThroughTest() override {
        EXPECT_EQ(calls.openHandles(), 0U);
        EXPECT_EQ(calls.pending(), 0U);
    }
    std::unique_ptr<ScsiPassThrough> openScsi(std::uint32_t access = kReadWrite) {
        return DeviceProvider::system().openScsi(kPath, access);
    }
    /// The port driver answers the next commands like this, whatever they are.
    void answerScsi(UCHAR status, UCHAR senseBytes, DWORD error = ERROR_SUCCESS, std::size_t bytes = 56) {
        disk.drivers[IOCTL_SCSI_PASS_THROUGH_DIRECT] = [=, this](const PlayedRequest& request) {
            sent = request.input<SCSI_PASS_THROUGH_DIRECT>();
            auto header = sent;
            header.ScsiStatus = status;
            header.SenseInfoLength = senseBytes;
            PlayedBytes answer = bytesOf(header);
            answer.resize(request.in.size());
            answer.at(header.SenseInfoOffset) = 0x72;
            answer.at(header.SenseInfoOffset + 1) = 0x03;
            answer.resize(bytes == 56 ? answer.size() : bytes);
            return PlayedAnswer{answer, error};
        };
    }

    PlayedCalls calls;
    PlayedDevice& disk;
    SCSI_PASS_THROUGH_DIRECT sent{};
};

TEST_F(PassThroughTest, ScsiCommandsAreSentAsTheDriverWantsThem) {
    playScsi(disk, "sim:scsi,sectors=1000");
    const auto unit = openScsi();
    ASSERT_TRUE(unit) << lastOpenErrorStr().utf8();
    EXPECT_EQ(unit->maxTransferBytes(), 65536U);
    answerScsi(0, 0);
    zel::Buffer buffer(4096);
    ScsiRequest request;
    request.cdb = {0x88, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    request.cdbBytes = 16;
    request.direction = DataDirection::fromDevice;
    request.data = buffer.data();
    request.dataBytes = 512;
    for (const auto& [milliseconds, seconds] : {std::pair{1U, 1U}, {1000U, 1U}, {1001U, 2U}, {30000U, 30U}}) {
        request.timeoutMs = milliseconds;
        const ScsiResponse response = unit->execute(request);
        EXPECT_TRUE(response.delivery.ok() && response.transferredBytes == 512 && response.senseBytes == 0);
        EXPECT_EQ(sent.TimeOutValue, seconds);
    }
    EXPECT_TRUE(sent.CdbLength == 16 && std::ranges::equal(sent.Cdb, request.cdb));
    EXPECT_TRUE(sent.DataIn == SCSI_IOCTL_DATA_IN && sent.DataBuffer == buffer.data());
    EXPECT_GE(sent.SenseInfoLength, 32);
}

TEST_F(PassThroughTest, ScsiAnswersAreBelievedAsFarAsTheyGo) {
    playScsi(disk, "sim:scsi,sectors=1000");
    const auto unit = openScsi();
    ASSERT_TRUE(unit);
    const struct {
        UCHAR status, senseBytes;
        DWORD error;
        std::size_t bytes;
        _LIBDRIVE2_ERROR_TYPES delivery;
        std::size_t sense;
    } rows[] = {
        {2, 18, ERROR_SUCCESS, 56, LIBDRIVE2_NO_ERROR, 18},
        {2, 255, ERROR_SUCCESS, 56, LIBDRIVE2_NO_ERROR, 252},
        {2, 18, ERROR_SUCCESS, 55, LIBDRIVE2_LINK_ERROR, 0},
        {2, 18, ERROR_SUCCESS, 0, LIBDRIVE2_LINK_ERROR, 0},
        // A control that failed says nothing of the medium.
        {0, 0, ERROR_CRC, 56, LIBDRIVE2_LINK_ERROR, 0},
        {0, 0, ERROR_IO_DEVICE, 56, LIBDRIVE2_LINK_ERROR, 0},
        {0, 0, ERROR_SEM_TIMEOUT, 56, LIBDRIVE2_TIMEOUT, 0},
        {0, 0, ERROR_BUSY, 56, LIBDRIVE2_BUSY, 0},
        {0, 0, ERROR_ACCESS_DENIED, 56, LIBDRIVE2_NO_ACCESS, 0},
        {0, 0, ERROR_DEV_NOT_EXIST, 56, LIBDRIVE2_NO_ACCESS, 0},
    };
    for (const auto& row : rows) {
        answerScsi(row.status, row.senseBytes, row.error, row.bytes);
        const ScsiResponse response = unit->execute(scsi::testUnitReady());
        EXPECT_EQ(response.delivery.type, row.delivery) << row.error << ' ' << row.bytes;
        EXPECT_EQ(response.senseBytes, row.sense);
        EXPECT_EQ(response.sense[0], row.sense != 0 ? 0x72 : 0);
    }
    disk.fail(IOCTL_STORAGE_CHECK_VERIFY2, ERROR_DEVICE_NOT_CONNECTED);
    answerScsi(0, 0, ERROR_IO_DEVICE);
    EXPECT_EQ(unit->execute(scsi::testUnitReady()).delivery.type, LIBDRIVE2_NO_ACCESS);
}

TEST_F(PassThroughTest, ScsiDataIsCopiedForTheDriversAlignmentAndLimits) {
    playScsi(disk, "sim:scsi,sectors=1000,bad=700");
    for (const bool isTold : {true, false}) {
        if (!isTold)
            disk.drivers.erase(IOCTL_SCSI_GET_CAPABILITIES);
        ScsiSBCDrive drive{SharedScsiPassThrough(openScsi())};
        ASSERT_EQ(drive.getSectorCount(), 1000U) << drive.getLastErrorStr().utf8();
        std::vector<char> data(600 * 512 + 8), found(data.size());
        for (std::size_t shift = 0; shift < 5; ++shift) {
            for (std::size_t i = 0; i < data.size(); ++i)
                data[i] = static_cast<char>((i + shift) % 251);
            EXPECT_TRUE(drive.writeSector(7, 600, data.data() + shift, 600 * 512));
            EXPECT_TRUE(drive.readSector(7, 600, found.data() + shift, 600 * 512));
            EXPECT_EQ(std::memcmp(data.data() + shift, found.data() + shift, 600 * 512), 0);
        }
        EXPECT_FALSE(drive.readSector(690, 20, found.data(), 20 * 512));
        EXPECT_EQ(drive.lastError, LIBDRIVE2_MEDIA_ERROR) << drive.getLastErrorStr().utf8();
    }
}

TEST_F(PassThroughTest, WhatCannotBeOpenedAgainTakesNoCommands) {
    playScsi(disk, "sim:scsi,sectors=1000");
    playAta(disk, "sim:ata,sectors=1000");
    const auto unit = openScsi();
    const auto drive = DeviceProvider::system().openAta(kPath);
    ASSERT_TRUE(unit && drive);
    disk.openError = ERROR_FILE_NOT_FOUND;
    EXPECT_FALSE(unit->reopen().ok() || drive->reopen().ok());
    EXPECT_EQ(unit->execute(scsi::testUnitReady()).delivery.type, LIBDRIVE2_NO_ACCESS);
    EXPECT_EQ(drive->execute(ata::checkPowerMode()).delivery.type, LIBDRIVE2_NO_ACCESS);
}

TEST_F(PassThroughTest, OpensOnlyWholeDevicesThatTakeCommands) {
    playScsi(disk, "sim:scsi,sectors=1000,bad=5");
    const auto reader = openScsi(kAccessRead);
    ASSERT_TRUE(reader);
    zel::Buffer sector(512);
    EXPECT_EQ(reader->execute(scsi::withData(scsi::write(0, 1, false), sector.data(), 512)).delivery.type,
              LIBDRIVE2_WRITE_PROTECTED_DEVICE);
    EXPECT_TRUE(reader->execute(scsi::testUnitReady()).delivery.ok());
    const std::string letter = "\\\\.\\E:";
    playScsi(playDisk(calls.device(L"\\\\.\\E:"), 1000), "sim:scsi,sectors=1000");
    const struct {
        std::string path;
        std::uint32_t type, partition;
        bool opens;
    } rows[] = {{kPath, FILE_DEVICE_DISK, 0, true},
                {kPath, FILE_DEVICE_DISK, 2, true},  // whatever its driver says, it bears a whole disk's name
                {letter, FILE_DEVICE_DISK, 0xFFFFFFFF, true},
                {letter, FILE_DEVICE_CD_ROM, 0xFFFFFFFF, true},
                {letter, FILE_DEVICE_DISK, 2, false}};
    for (const auto& row : rows) {
        for (PlayedDevice* each : {&disk, &calls.device(L"\\\\.\\E:")})
            each->answer(IOCTL_STORAGE_GET_DEVICE_NUMBER, littleEndian({row.type, 1, row.partition}, 4));
        EXPECT_EQ(DeviceProvider::system().openScsi(row.path, kReadWrite) != nullptr, row.opens)
            << row.partition;
        EXPECT_EQ(DeviceProvider::system().openAta(row.path) != nullptr, row.opens) << row.partition;
        EXPECT_EQ(DeviceProvider::system().openScsiObject(row.path, false) != nullptr,
                  row.type == FILE_DEVICE_DISK && row.partition != 2);
    }
    EXPECT_FALSE(DeviceProvider::system().openScsi(letter, kReadWrite));
    EXPECT_THAT(lastOpenErrorStr().utf8(), HasSubstr("it is a partition"));
    const TempFile image(512);
    EXPECT_FALSE(DeviceProvider::system().openScsi(image.path, kReadWrite));
    EXPECT_THAT(lastOpenErrorStr().utf8(), HasSubstr("it is no device, so it takes no commands"));
    disk.answer(IOCTL_STORAGE_GET_DEVICE_NUMBER, littleEndian({FILE_DEVICE_DISK, 1, 0}, 4));
    disk.drivers.erase(IOCTL_SCSI_PASS_THROUGH_DIRECT);
    EXPECT_FALSE(openScsi());
    EXPECT_THAT(lastOpenErrorStr().utf8(), HasSubstr("it takes no SCSI commands"));
}

TEST_F(PassThroughTest, AtaRegistersGoWhereTheyBelong) {
    playAta(disk, "sim:ata,sectors=1000");
    const auto drive = DeviceProvider::system().openAta(kPath);
    ASSERT_TRUE(drive && drive->isInitialized() && !drive->isEmulated());
    ATA_PASS_THROUGH_DIRECT asked{};
    disk.drivers[IOCTL_ATA_PASS_THROUGH_DIRECT] = [&asked](const PlayedRequest& request) {
        asked = request.input<ATA_PASS_THROUGH_DIRECT>();
        auto answer = asked;
        const UCHAR now[] = {0x40, 0x12, 0x0A, 0x0B, 0x0C, 0xEF, 0x51},
                    before[] = {0, 0x34, 0x0D, 0x0E, 0x0F};
        std::ranges::copy(now, answer.CurrentTaskFile);
        std::ranges::copy(before, answer.PreviousTaskFile);
        return PlayedAnswer{bytesOf(answer)};
    };
    std::uint8_t sectors[1024] = {};
    AtaResponse response =
        drive->execute(ata::withData(ata::readDma(0x123456789ABC, 2, true), sectors, 1024));
    EXPECT_EQ(asked.AtaFlags,
              ATA_FLAGS_DRDY_REQUIRED | ATA_FLAGS_DATA_IN | ATA_FLAGS_48BIT_COMMAND | ATA_FLAGS_USE_DMA);
    EXPECT_EQ(PlayedBytes(asked.CurrentTaskFile, asked.CurrentTaskFile + 7),
              (PlayedBytes{0, 2, 0xBC, 0x9A, 0x78, 0x40, 0x25}));
    EXPECT_EQ(PlayedBytes(asked.PreviousTaskFile, asked.PreviousTaskFile + 7),
              (PlayedBytes{0, 0, 0x56, 0x34, 0x12, 0, 0}));
    EXPECT_TRUE(response.status == 0x51 && response.error == 0x40);
    EXPECT_EQ(response.lba, 0x0F0E0D0C0B0AU);
    EXPECT_EQ(response.count, 0x3412);
    response = drive->execute(ata::withData(ata::writeDma(0xABCDEF1, 2, false), sectors, 1024));
    EXPECT_EQ(asked.AtaFlags, ATA_FLAGS_DRDY_REQUIRED | ATA_FLAGS_DATA_OUT | ATA_FLAGS_USE_DMA);
    EXPECT_EQ(PlayedBytes(asked.CurrentTaskFile, asked.CurrentTaskFile + 7),
              (PlayedBytes{0, 2, 0xF1, 0xDE, 0xBC, 0x4A, 0xCA}));
    EXPECT_EQ(response.lba, 0xF0C0B0AU);
    response = drive->execute(ata::checkPowerMode());
    EXPECT_EQ(asked.AtaFlags, ATA_FLAGS_DRDY_REQUIRED);
    EXPECT_EQ(asked.DataBuffer, nullptr);
}

TEST_F(PassThroughTest, AtaAnswersAreBelievedAsFarAsTheyGo) {
    playAta(disk, "sim:ata,sectors=1000");
    const auto drive = DeviceProvider::system().openAta(kPath);
    ASSERT_TRUE(drive);
    std::uint8_t sector[512] = {};
    const AtaRequest request = ata::withData(ata::readDma(0, 1, true), sector, 512);
    const struct {
        std::size_t bytes;
        ULONG transferred;
        UCHAR status;
        DWORD error;
        _LIBDRIVE2_ERROR_TYPES delivery;
    } rows[] = {{48, 512, 0x50, 0, LIBDRIVE2_NO_ERROR},
                {48, 99999, 0x50, 0, LIBDRIVE2_NO_ERROR},
                {48, 100, 0x50, 0, LIBDRIVE2_LINK_ERROR},
                {48, 0, 0x51, 0, LIBDRIVE2_NO_ERROR},
                {47, 512, 0x50, 0, LIBDRIVE2_LINK_ERROR},
                {48, 512, 0x50, ERROR_IO_DEVICE, LIBDRIVE2_LINK_ERROR},
                {48, 512, 0x50, ERROR_SEM_TIMEOUT, LIBDRIVE2_TIMEOUT}};
    for (const auto& row : rows) {
        disk.drivers[IOCTL_ATA_PASS_THROUGH_DIRECT] = [&row](const PlayedRequest& asked) {
            auto header = asked.input<ATA_PASS_THROUGH_DIRECT>();
            header.DataTransferLength = row.transferred;
            header.CurrentTaskFile[6] = row.status;
            PlayedBytes answer = bytesOf(header);
            answer.resize(row.bytes);
            return PlayedAnswer{answer, row.error};
        };
        EXPECT_EQ(drive->execute(request).delivery.type, row.delivery) << row.bytes << ' ' << row.transferred;
    }
}

TEST_F(PassThroughTest, AtaGoesBySatWhereTheDriverHasNoOtherWay) {
    playScsi(disk, "sim:ata,emulated,sectors=1000");
    const auto bridged = DeviceProvider::system().openAta(kPath);
    ASSERT_TRUE(bridged) << lastOpenErrorStr().utf8();
    EXPECT_EQ(calls.logged("ioctl " + kPath + " 0004D030"), 1U);
    EXPECT_GT(calls.logged("ioctl " + kPath + " 0004D014"), 1U);
    // What the system shows as another size is not what the commands reach.
    playAta(disk, "sim:ata,sectors=999");
    const auto hidden = DeviceProvider::system().openAta(kPath);
    EXPECT_TRUE(hidden && hidden->isInitialized() && hidden->isEmulated());
}

}  // namespace
}  // namespace libDrive2
