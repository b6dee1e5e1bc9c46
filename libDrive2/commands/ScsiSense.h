#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::scsi {

/// Sense keys of SPC-4 that code asks for by name.
inline constexpr std::uint8_t kSenseRecovered = 0x1;
inline constexpr std::uint8_t kSenseNotReady = 0x2;
inline constexpr std::uint8_t kSenseIllegalRequest = 0x5;
inline constexpr std::uint8_t kSenseUnitAttention = 0x6;

/// Registers that a SAT layer returned in the sense data.
struct AtaReturn {
    std::uint8_t error = 0;
    std::uint8_t status = 0;
    std::uint8_t device = 0;
    std::uint16_t count = 0;
    std::uint64_t lba = 0;
    bool truncated = false;  ///< upper register halves did not fit and are not zero
};

/// Sense data, of fixed or of descriptor format.
struct Sense {
    bool deferred = false;  ///< it concerns an earlier command
    std::uint8_t key = 0;
    std::uint8_t code = 0;       ///< additional sense code
    std::uint8_t qualifier = 0;  ///< its qualifier
    std::optional<std::uint64_t> information;
    std::optional<AtaReturn> ata;
};

/// The registers that fixed-format sense data of an ATA command holds, whatever its key.
AtaReturn parseFixedAtaReturn(Bytes bytes);

/// Nothing when the bytes are no sense data.
std::optional<Sense> parseSense(Bytes bytes);

/// The one place that decodes sense data to a cause and a text.
DeviceStatus statusOf(const Sense& sense);

/// How a command ended.
struct Outcome {
    DeviceStatus status;
    std::optional<Sense> sense;
    std::size_t transferredBytes = 0;
    /// The command succeeded, but only after the device had recovered from an error: its text.
    std::string recovered;

    /// The device told news instead of executing the command: send it once more.
    bool repeat = false;
};

/// The sense data that a response holds, whatever length it claims.
Bytes senseOf(const ScsiResponse& response);

/// Judges delivery, status byte and sense data together.
Outcome judge(const ScsiResponse& response);

}  // namespace libDrive2::scsi
