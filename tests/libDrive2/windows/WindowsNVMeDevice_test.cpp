#include "libDrive2/windows/WindowsNVMeDevice.h"

#include <gmock/gmock.h>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/NVMeDrive.h"
#include "libDrive2/commands/NVMeCommands.h"
#include "support/windows/PlayedDrives.h"
#include "zel/Buffer.h"

namespace libDrive2 {
namespace {

using namespace testing_support;
using testing::HasSubstr;

const std::string kPath = "\\\\.\\PhysicalDrive1";

class WindowsNVMe : public testing::Test {
protected:
    WindowsNVMe() : disk(playDisk(calls.device(L"\\\\.\\PhysicalDrive1"), 1000)) {
        playNVMe(disk, "sim:nvme,sectors=1000");
    }
    ~WindowsNVMe() override {
        EXPECT_EQ(calls.openHandles(), 0U);
        EXPECT_EQ(calls.pending(), 0U);
    }

    PlayedCalls calls;
    PlayedDevice& disk;
};

TEST_F(WindowsNVMe, SectorsGoByTheBlockInterface) {
    NVMeDrive drive{SharedNVMeDevice(DeviceProvider::system().openNVMe(kPath))};
    ASSERT_EQ(drive.getSectorCount(), 1000U);
    zel::Buffer buffer(64 * 512);
    EXPECT_TRUE(drive.readSector(900, 64, buffer.data(), 64 * 512)) << drive.getLastErrorStr().utf8();
    EXPECT_EQ(buffer.data()[0] | buffer.data()[1] << 8, 900);
    EXPECT_TRUE(drive.writeSector(3, 1, buffer.data(), 512) && drive.flushCache() && drive.seekSector(9));
    EXPECT_EQ(disk.content[3 * 512 + 1], 900 >> 8);
    EXPECT_EQ(calls.logged("flush "), 1U);
    // Windows is asked once whether it lets commands of this kind through.
    EXPECT_EQ(calls.logged("ioctl " + kPath + " 002DD3C0"), 1U);
    disk.badReads[5] = ERROR_CRC;
    EXPECT_FALSE(drive.readSector(5, 1, buffer.data(), 512));
    EXPECT_EQ(drive.lastError, LIBDRIVE2_MEDIA_ERROR);
}

TEST_F(WindowsNVMe, CommandsThatAreLetThrough) {
    const auto device = DeviceProvider::system().openNVMe(kPath);
    ASSERT_TRUE(device);
    PlayedBytes asked;
    const struct {
        std::uint32_t protocolStatus;
        std::uint16_t statusField;
        std::size_t cut;
        _LIBDRIVE2_ERROR_TYPES delivery;
        std::uint16_t status;
    } rows[] = {{1, 0, 0, LIBDRIVE2_NO_ERROR, 0},   {2, 0x0502, 0, LIBDRIVE2_NO_ERROR, 0x281},
                {2, 0, 0, LIBDRIVE2_LINK_ERROR, 0}, {4, 0, 0, LIBDRIVE2_NO_ACCESS, 0},
                {5, 0, 0, LIBDRIVE2_BUSY, 0},       {0xFF, 0, 0, LIBDRIVE2_NOT_SUPPORTED, 0},
                {1, 0, 1, LIBDRIVE2_LINK_ERROR, 0}, {1, 0, 1 + 16 + 128, LIBDRIVE2_LINK_ERROR, 0}};
    std::uint8_t data[16] = {};
    NVMeCommand command;
    command.admin = true;
    command.opcode = 0xC6;  // vendor-specific, from the device
    command.cdw15 = 0x15161718;
    command.direction = DataDirection::fromDevice;
    command = nvme::withData(command, data, sizeof data);
    for (const auto& row : rows) {
        disk.drivers[0x002DD3C0] = [&](const PlayedRequest& request) {
            asked.assign(request.in.begin(), request.in.end());
            PlayedBytes answer = asked;
            storeLittleEndian(answer, 16, row.protocolStatus);
            storeLittleEndian(answer, 64, std::uint32_t{77});
            storeLittleEndian(answer, 144 + 12, row.statusField);
            answer[208] = 0xAB;
            answer.resize(answer.size() - row.cut);
            return PlayedAnswer{answer};
        };
        data[0] = 0;
        const NVMeResponse response = device->execute(command);
        EXPECT_EQ(response.delivery.type, row.delivery) << row.protocolStatus;
        EXPECT_EQ(response.status, row.status);
        EXPECT_EQ(data[0], response.delivery.ok() && response.status == 0 ? 0xAB : 0);
        EXPECT_EQ(response.result, row.cut > 16 ? 0U : 77U);
    }
    ASSERT_EQ(asked.size(), 80U + 64 + 64 + 16);
    EXPECT_TRUE(asked[0] == 1 && asked[4] == 84 && asked[8] == 3 && asked[15] == 0x80 && asked[24] == 64);
    EXPECT_TRUE(asked[36] == 16 && asked[52] == 208 && asked[56] == 1 && asked[80] == 0xC6);
    EXPECT_EQ(asked[80 + 60], 0x18);
}

TEST_F(WindowsNVMe, AnswersAreBelievedAsFarAsTheyGo) {
    const auto device = DeviceProvider::system().openNVMe(kPath);
    ASSERT_TRUE(device);
    std::vector<std::uint8_t> identity(nvme::kIdentifyBytes);
    const NVMeCommand command = nvme::withData(nvme::identifyController(), identity.data(), identity.size());
    // Where the data of the descriptor is said to be, and how much.
    for (const auto& [offset, bytes, fits] : {std::tuple{40U, 4096U, true},
                                              {44U, 4092U, false},
                                              {40U, 4095U, false},
                                              {39U, 4096U, false},
                                              {41U, 4096U, false},
                                              {0xFFFFFFFFU, 4096U, false},
                                              {40U, 0xFFFFFFFFU, false}}) {
        PlayedBytes answer = littleEndian({48, 48, 3, 1, 1, 0, offset, bytes, 0, 0, 0, 0}, 4);
        answer.resize(48 + 4096, 'x');
        disk.answer(IOCTL_STORAGE_QUERY_PROPERTY, answer);
        identity[0] = 0;
        EXPECT_EQ(device->execute(command).delivery.type, fits ? LIBDRIVE2_NO_ERROR : LIBDRIVE2_LINK_ERROR);
        EXPECT_EQ(identity[0], fits ? 'x' : 0);
    }
    for (const DWORD refusal : {ERROR_INVALID_FUNCTION, ERROR_NOT_SUPPORTED, ERROR_INVALID_PARAMETER}) {
        disk.fail(IOCTL_STORAGE_QUERY_PROPERTY, refusal);
        EXPECT_FALSE(DeviceProvider::system().openNVMe(kPath));
        EXPECT_THAT(lastOpenErrorStr().utf8(), HasSubstr("it is no NVMe namespace"));
    }
}

}  // namespace
}  // namespace libDrive2
