#pragma once

#include <cstdint>
#include <optional>

#include "libDrive2/commands/Bytes.h"

/// What Windows' port drivers answer, from the bytes that they returned; see DiskAnswers.h.
namespace libDrive2::windows {

/// IO_SCSI_CAPABILITIES.
struct AdapterLimits {
    std::uint32_t maxTransferBytes = 0;  ///< of one command, at least 4 KiB
    std::uint32_t alignment = 1;         ///< of data buffers; a power of two
};
/// For data buffers that lie anywhere in memory, of pages of 4 KiB.
std::optional<AdapterLimits> parseAdapterLimits(Bytes answer);

/// SCSI_ADDRESS: the logical unit's number behind its adapter.
std::optional<std::uint8_t> parseLogicalUnit(Bytes answer);

/// What came back in a SCSI_PASS_THROUGH_DIRECT.
struct ScsiCompletion {
    std::uint8_t status = 0;
    std::uint8_t senseBytes = 0;  ///< at most what there was room for
    std::uint32_t transferredBytes = 0;
};
/// `sent` bytes of data, and room for `senseRoom` bytes of sense data, were offered.
std::optional<ScsiCompletion> parseScsiCompletion(Bytes answer, std::uint32_t sent, std::uint8_t senseRoom);

/// What came back in an ATA_PASS_THROUGH_DIRECT.
struct AtaCompletion {
    std::uint8_t status = 0;
    std::uint8_t error = 0;
    std::uint16_t count = 0;
    std::uint64_t lba = 0;
    std::uint32_t transferredBytes = 0;
};
std::optional<AtaCompletion> parseAtaCompletion(Bytes answer, bool extended, std::uint32_t sent);

/// Where the data of a STORAGE_PROTOCOL_DATA_DESCRIPTOR lies in it.
struct ProtocolData {
    Bytes data;  ///< within the answer
    std::uint32_t fixedData = 0;
};
std::optional<ProtocolData> parseProtocolData(Bytes answer);

/// What came back in a STORAGE_PROTOCOL_COMMAND with an NVMe command.
struct ProtocolCompletion {
    std::uint32_t returnStatus = 0;  ///< STORAGE_PROTOCOL_STATUS_…
    std::uint32_t result = 0;        ///< completion queue entry, dword 0
    std::uint16_t nvmeStatus = 0;    ///< without the phase tag; 0 where nothing is told
};
std::optional<ProtocolCompletion> parseProtocolCompletion(Bytes answer);

}  // namespace libDrive2::windows
