#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/MmcTypes.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/commands/MmcAnswers.h"

namespace libDrive2::mmc {

/// What is sent to optical drives as data (MMC-6).

enum class WriteType : std::uint8_t { packet = 0, trackAtOnce = 1, sessionAtOnce = 2, layerJump = 4 };

/// What a recording needs of the write parameters mode page; the rest stays as the drive has it.
struct WriteParameters {
    WriteType type = WriteType::packet;
    bool isTest = false;                ///< without the laser
    bool underrunFree = false;          ///< a late host interrupts the recording instead of ending it
    std::uint32_t packetSectors = 0;    ///< fixed packets of that size; 0 none
    std::uint8_t linkSectors = 0;       ///< DVD: size of linking loss; 0 none
    bool dataIsIncremental = false;     ///< track mode 5 instead of 4
    bool laterSessionsAllowed = false;  ///< multi-session 11b
};

/// The page alone out of an answer to MODE SENSE(10), whole; nothing when it is not there.
std::optional<std::vector<std::uint8_t>> findWriteParameters(Bytes answer);
/// The data of a MODE SELECT(10) that sets the page.
std::vector<std::uint8_t> writeParameterList(std::vector<std::uint8_t> page,
                                             const WriteParameters& parameters);

/// The parameter list of FORMAT UNIT. `restart` goes on with a DVD+RW format that was interrupted.
std::vector<std::uint8_t> formatParameterList(const FormatCapacities::Choice& choice, bool immediate,
                                              bool restart);
/// Says the options of such a list outright, which some drives want with `immediate`.
void setFormatOptionsValid(std::vector<std::uint8_t>& list);

}  // namespace libDrive2::mmc
