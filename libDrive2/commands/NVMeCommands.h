#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "libDrive2/NVMeDevice.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::nvme {

inline constexpr std::size_t kIdentifyBytes = 4096;
inline constexpr std::size_t kHealthLogBytes = 512;
inline constexpr std::uint32_t kMaxBlocks = 65536;  ///< of one command
inline constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;

/// Commands of NVM Express 1.4, ready but for the data buffer: attach one with withData(). Counts are from 1
/// to kMaxBlocks.
NVMeCommand identifyController();
NVMeCommand identifyNamespace(std::uint32_t namespaceId);
NVMeCommand healthLog();
NVMeCommand read(std::uint32_t namespaceId, std::uint64_t lba, std::uint32_t count, bool forceUnitAccess);
NVMeCommand write(std::uint32_t namespaceId, std::uint64_t lba, std::uint32_t count, bool forceUnitAccess);
NVMeCommand verify(std::uint32_t namespaceId, std::uint64_t lba, std::uint32_t count);
NVMeCommand flush(std::uint32_t namespaceId);
NVMeCommand withData(NVMeCommand command, void* data, std::size_t bytes);

struct Controller {
    std::string model, serial, firmware;
    std::uint64_t maxTransferBytes = 0;  ///< for pages of 4096 bytes, the smallest; 0 no limit
    bool supportsVerify = false;
    bool hasWriteCache = false;
    bool testsItself = false;  ///< Device Self-test
};
std::optional<Controller> parseController(Bytes answer);

struct Namespace {
    std::uint64_t sectors = 0;
    std::uint32_t sectorBytes = 0;
    std::uint16_t metadataBytes = 0;
    bool metadataInData = false;  ///< sectors are longer than sectorBytes on their way
    bool writeProtected = false;
};
/// Nothing for a namespace that does not exist (all zeros) or whose format cannot be.
std::optional<Namespace> parseNamespace(Bytes answer);

/// Degrees Celsius from the SMART / health log.
std::optional<double> parseTemperature(Bytes answer);

/// The one place that decodes the status field to a cause and a text.
DeviceStatus statusOf(const NVMeResponse& response);

}  // namespace libDrive2::nvme
