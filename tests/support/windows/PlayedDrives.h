#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/NVMeDevice.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/sim/SimProvider.h"
#include "support/windows/PlayedCalls.h"

/// What Windows' drivers do with controls, over simulated drives: each gives a played device the driver of
/// one kind.
namespace testing_support {

inline PlayedBytes littleEndian(std::initializer_list<std::uint64_t> fields, std::size_t bytesOfEach) {
    PlayedBytes bytes;
    for (std::uint64_t field : fields)
        for (std::size_t i = 0; i < bytesOfEach; ++i, field >>= 8)
            bytes.push_back(static_cast<std::uint8_t>(field & 0xFF));
    return bytes;
}

/// A disk whose content is `sectors` sectors, each beginning with its number; all that a disk driver tells.
inline PlayedDevice& playDisk(PlayedDevice& device, std::uint64_t sectors, std::uint32_t sectorBytes = 512,
                              std::uint32_t physicalBytes = 4096) {
    device.sectorBytes = sectorBytes;
    device.content.assign(sectors * sectorBytes, 0);
    for (std::uint64_t sector = 0; sector < sectors; ++sector)
        std::memcpy(device.content.data() + sector * sectorBytes, &sector, sizeof sector);
    DISK_GEOMETRY_EX geometry{};
    geometry.Geometry.MediaType = FixedMedia;
    geometry.Geometry.BytesPerSector = sectorBytes;
    geometry.DiskSize.QuadPart = static_cast<LONGLONG>(device.content.size());
    device.answer(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, bytesOf(geometry));
    device.answer(IOCTL_DISK_GET_LENGTH_INFO, littleEndian({device.content.size()}, 8));
    device.answer(IOCTL_STORAGE_GET_HOTPLUG_INFO,
                  bytesOf(STORAGE_HOTPLUG_INFO{sizeof(STORAGE_HOTPLUG_INFO), FALSE, FALSE, FALSE, FALSE}));
    device.answer(IOCTL_STORAGE_GET_DEVICE_NUMBER, littleEndian({FILE_DEVICE_DISK, 1, 0}, 4));
    device.answer(IOCTL_STORAGE_CHECK_VERIFY2, {});
    device.answer(IOCTL_DISK_IS_WRITABLE, {});
    device.drivers[IOCTL_STORAGE_QUERY_PROPERTY] = [sectorBytes,
                                                    physicalBytes](const PlayedRequest& request) {
        const auto query = request.input<STORAGE_PROPERTY_QUERY>();
        if (query.PropertyId != StorageAccessAlignmentProperty)
            return PlayedAnswer{{}, ERROR_INVALID_FUNCTION};
        return PlayedAnswer{littleEndian({28, 28, 64, 0, sectorBytes, physicalBytes, 0}, 4)};
    };
    return device;
}

inline libDrive2::DataDirection directionOf(unsigned dataIn) {
    using libDrive2::DataDirection;
    return dataIn == SCSI_IOCTL_DATA_IN    ? DataDirection::fromDevice
           : dataIn == SCSI_IOCTL_DATA_OUT ? DataDirection::toDevice
                                           : DataDirection::none;
}

/// A port driver for SCSI commands. It takes no data that is not aligned to 4 bytes, and 64 KiB a command.
inline PlayedDevice& playScsi(PlayedDevice& device, const std::string& locator) {
    std::shared_ptr<libDrive2::ScsiPassThrough> unit =
        libDrive2::SimProvider::get().openScsi(locator, libDrive2::kAccessRead | libDrive2::kAccessWrite);
    device.answer(IOCTL_SCSI_GET_CAPABILITIES, littleEndian({24, 65536, 17, 0, 3, 0}, 4));
    device.drivers[IOCTL_SCSI_PASS_THROUGH_DIRECT] = [unit](const PlayedRequest& request) {
        auto header = request.input<SCSI_PASS_THROUGH_DIRECT>();
        if (header.Length != sizeof header || header.TimeOutValue == 0 ||
            reinterpret_cast<std::uintptr_t>(header.DataBuffer) % 4 != 0)
            return PlayedAnswer{{}, ERROR_INVALID_PARAMETER};
        libDrive2::ScsiRequest command;
        std::ranges::copy(header.Cdb, command.cdb.begin());
        command.cdbBytes = header.CdbLength;
        command.direction = directionOf(header.DataIn);
        command.data = header.DataBuffer;
        command.dataBytes = header.DataTransferLength;
        const libDrive2::ScsiResponse response = unit->execute(command);
        if (!response.delivery.ok())
            return PlayedAnswer{{}, ERROR_DEVICE_NOT_CONNECTED};
        PlayedBytes answer(request.in.begin(), request.in.end());
        header.ScsiStatus = response.status;
        header.DataTransferLength = static_cast<ULONG>(response.transferredBytes);
        header.SenseInfoLength = std::min(header.SenseInfoLength, response.senseBytes);
        std::memcpy(answer.data(), &header, sizeof header);
        if (header.SenseInfoOffset + header.SenseInfoLength <= answer.size())
            std::memcpy(answer.data() + header.SenseInfoOffset, response.sense.data(),
                        header.SenseInfoLength);
        return PlayedAnswer{answer};
    };
    return device;
}

/// A port driver for ATA commands.
inline PlayedDevice& playAta(PlayedDevice& device, const std::string& locator) {
    std::shared_ptr<libDrive2::AtaDevice> drive = libDrive2::SimProvider::get().openAta(locator);
    device.drivers[IOCTL_ATA_PASS_THROUGH_DIRECT] = [drive](const PlayedRequest& request) {
        auto header = request.input<ATA_PASS_THROUGH_DIRECT>();
        const UCHAR* const now = header.CurrentTaskFile;
        const UCHAR* const before = header.PreviousTaskFile;
        const auto wide = [&](int i) { return static_cast<std::uint16_t>(before[i] << 8 | now[i]); };
        libDrive2::AtaRequest command;
        command.extended = (header.AtaFlags & ATA_FLAGS_48BIT_COMMAND) != 0;
        command.registers = {wide(0), wide(1), 0, now[5], now[6]};
        for (const int i : {4, 3, 2})
            command.registers.lba = command.registers.lba << 8 | before[i];
        for (const int i : {4, 3, 2})
            command.registers.lba = command.registers.lba << 8 | now[i];
        if (!command.extended)
            command.registers.lba |= std::uint64_t{now[5] & 0x0FU} << 24;
        command.protocol = (header.AtaFlags & ATA_FLAGS_USE_DMA) != 0    ? libDrive2::AtaProtocol::dma
                           : (header.AtaFlags & ATA_FLAGS_DATA_IN) != 0  ? libDrive2::AtaProtocol::pioIn
                           : (header.AtaFlags & ATA_FLAGS_DATA_OUT) != 0 ? libDrive2::AtaProtocol::pioOut
                                                                         : libDrive2::AtaProtocol::nonData;
        command.direction = directionOf((header.AtaFlags & ATA_FLAGS_DATA_IN) != 0    ? SCSI_IOCTL_DATA_IN
                                        : (header.AtaFlags & ATA_FLAGS_DATA_OUT) != 0 ? SCSI_IOCTL_DATA_OUT
                                                                                      : 2U);
        command.data = header.DataBuffer;
        command.dataBytes = header.DataTransferLength;
        const libDrive2::AtaResponse response = drive->execute(command);
        if (!response.delivery.ok())
            return PlayedAnswer{{}, ERROR_DEVICE_NOT_CONNECTED};
        const auto byteOf = [&](unsigned shift) { return static_cast<UCHAR>(response.lba >> shift & 0xFF); };
        const UCHAR answerNow[] = {
            response.error, static_cast<UCHAR>(response.count), byteOf(0), byteOf(8), byteOf(16), now[5],
            response.status};
        const UCHAR answerBefore[] = {0, static_cast<UCHAR>(response.count >> 8), byteOf(24), byteOf(32),
                                      byteOf(40)};
        std::ranges::copy(answerNow, header.CurrentTaskFile);
        std::ranges::copy(answerBefore, header.PreviousTaskFile);
        return PlayedAnswer{bytesOf(header)};
    };
    return device;
}

/// Windows' own NVMe driver: it tells identities and log pages, and lets no commands through that move
/// sectors.
inline PlayedDevice& playNVMe(PlayedDevice& device, const std::string& locator) {
    std::shared_ptr<libDrive2::NVMeDevice> drive = libDrive2::SimProvider::get().openNVMe(locator);
    const auto others = device.drivers[IOCTL_STORAGE_QUERY_PROPERTY];
    device.answer(IOCTL_SCSI_GET_ADDRESS, {8, 0, 0, 0, 0, 0, 0, 0});
    device.fail(IOCTL_STORAGE_PROTOCOL_COMMAND, ERROR_NOT_SUPPORTED);
    device.drivers[IOCTL_STORAGE_QUERY_PROPERTY] = [drive, others](const PlayedRequest& request) {
        const auto field = [&request](std::size_t at) {
            return libDrive2::loadLittleEndian<std::uint32_t>(request.in, at);
        };
        constexpr std::uint32_t kAdapter = 49, kDevice = 50, kNVMe = 3, kIdentify = 1;
        if (field(0) != kAdapter && field(0) != kDevice)
            return others ? others(request) : PlayedAnswer{{}, ERROR_INVALID_FUNCTION};
        if (field(8) != kNVMe)
            return PlayedAnswer{{}, ERROR_INVALID_PARAMETER};
        PlayedBytes data(field(28));
        libDrive2::NVMeCommand command;
        command.admin = true;
        command.opcode = field(12) == kIdentify ? 0x06 : 0x02;
        command.namespaceId = field(12) == kIdentify ? field(20) : 0xFFFFFFFF;
        command.cdw10 = field(16) | (field(12) == kIdentify ? 0 : (field(28) / 4 - 1) << 16);
        command.direction = libDrive2::DataDirection::fromDevice;
        command.data = data.data();
        command.dataBytes = data.size();
        const libDrive2::NVMeResponse response = drive->execute(command);
        if (!response.delivery.ok() || response.status != 0)
            return PlayedAnswer{{}, ERROR_IO_DEVICE};
        PlayedBytes answer = littleEndian(
            {48, 48, kNVMe, field(12), field(16), field(20), 40, data.size(), response.result, 0, 0, 0}, 4);
        answer.insert(answer.end(), data.begin(), data.end());
        return PlayedAnswer{answer};
    };
    return device;
}

}  // namespace testing_support
