#include <gtest/gtest.h>

#include "commands/Hex.h"
#include "libDrive2/windows/answers/DiskAnswers.h"
#include "libDrive2/windows/answers/PassThroughAnswers.h"

// Structures as the system's headers lay them out on 64-bit Windows, so that the parsers' own places are
// tried against them.
#include "support/windows/PlayedCalls.h"
#include "zel/windows/StorageAnswers.h"

namespace libDrive2::windows {
namespace {

using testing_support::bytesOf;

TEST(WindowsAnswers, DisksTellTheirSizes) {
    EXPECT_EQ(parseLength(bytesOf(GET_LENGTH_INFORMATION{.Length = {.QuadPart = 1LL << 40}})), 1ULL << 40);
    EXPECT_EQ(shortest(bytesOf(GET_LENGTH_INFORMATION{}), parseLength), 8U);
    EXPECT_FALSE(parseLength(fromHex("FFFFFFFFFFFFFFFF")));

    DISK_GEOMETRY_EX geometry{};
    geometry.Geometry.MediaType = FixedMedia;
    geometry.Geometry.BytesPerSector = 4096;
    geometry.DiskSize.QuadPart = 77;
    const auto told = zel::parseDiskGeometry(bytesOf(geometry));
    ASSERT_TRUE(told);
    EXPECT_TRUE(told->sectorBytes == 4096 && told->bytes == 77 && !told->isRemovable);
    EXPECT_EQ(shortest(bytesOf(geometry), zel::parseDiskGeometry), sizeof(DISK_GEOMETRY));
    EXPECT_FALSE(zel::parseDiskGeometry(bytesOf(geometry.Geometry))->bytes);
    geometry.DiskSize.QuadPart = -1;
    EXPECT_FALSE(zel::parseDiskGeometry(bytesOf(geometry))->bytes);
    for (const DWORD sectorBytes : {0U, 1U, 64U, 500U, 0x80000000U, 0xFFFFFFFFU}) {
        geometry.Geometry.BytesPerSector = sectorBytes;
        EXPECT_FALSE(zel::parseDiskGeometry(bytesOf(geometry))) << sectorBytes;
    }
    geometry.Geometry.BytesPerSector = 512;
    for (const auto& [type, removable] :
         {std::pair{Unknown, false}, {F3_1Pt44_512, true}, {RemovableMedia, true}, {FixedMedia, false}}) {
        geometry.Geometry.MediaType = type;
        EXPECT_EQ(zel::parseDiskGeometry(bytesOf(geometry))->isRemovable, removable) << type;
    }
}

TEST(WindowsAnswers, PhysicalSectorsHoldWholeLogicalOnes) {
    STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR alignment{28, 28, 64, 0, 512, 4096, 0};
    EXPECT_EQ(parsePhysicalSector(bytesOf(alignment), 512), 4096U);
    EXPECT_FALSE(parsePhysicalSector(bytesOf(alignment), 4096));
    EXPECT_EQ(shortest(bytesOf(alignment), [](Bytes answer) { return parsePhysicalSector(answer, 512); }),
              24U);
    for (const DWORD physical : {0U, 256U, 700U, 0xFFFFFE00U}) {
        alignment.BytesPerPhysicalSector = physical;
        EXPECT_FALSE(parsePhysicalSector(bytesOf(alignment), 512)) << physical;
    }
    EXPECT_FALSE(parsePhysicalSector(std::vector<std::uint8_t>(28), 0));
}

TEST(WindowsAnswers, DevicesTellWhatTheyAre) {
    const STORAGE_HOTPLUG_INFO hotplug{8, TRUE, FALSE, FALSE, FALSE};
    EXPECT_EQ(parseMediumRemovable(bytesOf(hotplug)), true);
    EXPECT_FALSE(parseMediumRemovable(std::vector<std::uint8_t>(4)));

    const STORAGE_DEVICE_NUMBER number{FILE_DEVICE_DISK, 3, 2};
    const auto told = zel::parseDeviceNumber(bytesOf(number));
    EXPECT_TRUE(told && told->number == 3 && told->isPartition() && !told->isOptical());
    EXPECT_EQ(shortest(bytesOf(number), zel::parseDeviceNumber), 12U);

    SCSI_ADDRESS address{};
    address.Lun = 5;
    EXPECT_EQ(parseLogicalUnit(bytesOf(address)), 5);
    EXPECT_EQ(shortest(bytesOf(address), parseLogicalUnit), 8U);
}

TEST(WindowsAnswers, TheFirstSensorThatReportsCounts) {
    // STORAGE_TEMPERATURE_DATA_DESCRIPTOR, then STORAGE_TEMPERATURE_INFO of 16 bytes each.
    const std::pair<const char*, std::optional<double>> rows[] = {
        {"12=0100 26=2900", 41.0},         {"12=0100 26=F6FF", -10.0},      {"12=0000 26=2900", {}},
        {"12=0200 26=0080 42=1E00", 30.0}, {"12=0100 26=0080 42=1E00", {}}, {"12=0200 26=E703 42=1E00", 30.0},
        {"12=FFFF 26=0080 42=0080", {}},
    };
    for (const auto& [pieces, celsius] : rows)
        EXPECT_EQ(parseTemperature(structure(56, pieces)), celsius) << pieces;
    EXPECT_EQ(shortest(structure(56, "12=0100 26=2900"), parseTemperature), 40U);
}

TEST(WindowsAnswers, AdaptersLimitsMustMakeSense) {
    IO_SCSI_CAPABILITIES limits{};
    const struct {
        ULONG bytes, pages, mask;
        std::uint32_t most, alignment;
    } rows[] = {{131072, 33, 3, 131072, 4},
                {131072, 17, 0, 65536, 1},
                {0xFFFFFFFF, 0xFFFFFFFF, 511, 0xFFFFFFFF, 512},
                {0, 17, 0, 0, 0},
                {131072, 1, 0, 0, 0},
                {131072, 17, 2, 0, 0},
                {131072, 17, 0xFFFFFFFF, 0, 0},
                {131072, 17, 4096 * 2 - 1, 0, 0}};
    for (const auto& row : rows) {
        limits.MaximumTransferLength = row.bytes;
        limits.MaximumPhysicalPages = row.pages;
        limits.AlignmentMask = row.mask;
        const auto told = parseAdapterLimits(bytesOf(limits));
        EXPECT_EQ(told ? told->maxTransferBytes : 0, row.most) << row.bytes << ' ' << row.mask;
        EXPECT_EQ(told ? told->alignment : 0, row.alignment);
    }
    limits = {24, 131072, 17, 0, 0, FALSE, FALSE, FALSE};
    EXPECT_EQ(shortest(bytesOf(limits), parseAdapterLimits), 20U);
}

TEST(WindowsAnswers, CompletionsStayWithinWhatWasSent) {
    SCSI_PASS_THROUGH_DIRECT command{};
    command.ScsiStatus = 2;
    command.SenseInfoLength = 40;
    command.DataTransferLength = 9999;
    const auto scsi = parseScsiCompletion(bytesOf(command), 512, 32);
    ASSERT_TRUE(scsi);
    EXPECT_TRUE(scsi->status == 2 && scsi->senseBytes == 32 && scsi->transferredBytes == 512);
    EXPECT_EQ(shortest(bytesOf(command), [](Bytes answer) { return parseScsiCompletion(answer, 0, 0); }),
              sizeof command);
    const auto protocol = parseProtocolCompletion(structure(80, "16=02000000 44=FFFFFFFF 64=07000000"));
    EXPECT_TRUE(protocol && protocol->returnStatus == 2 && protocol->nvmeStatus == 0 &&
                protocol->result == 7);
}

}  // namespace
}  // namespace libDrive2::windows
