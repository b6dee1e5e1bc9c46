#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "libDrive2/DriveHealth.h"
#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::scsi {

// Log pages of SPC-4 and SBC-3.
inline constexpr std::uint8_t kLogPageSupported = 0x00;
inline constexpr std::uint8_t kLogPageWriteErrors = 0x02;
inline constexpr std::uint8_t kLogPageReadErrors = 0x03;
inline constexpr std::uint8_t kLogPageSelfTests = 0x10;
inline constexpr std::uint8_t kLogPageSolidState = 0x11;
inline constexpr std::uint8_t kLogPageBackgroundScan = 0x15;
inline constexpr std::uint8_t kLogPageInformationalExceptions = 0x2F;

/// READ DEFECT DATA(10) of SBC-3 for the list of sectors that were reassigned in use.
ScsiRequest readGrownDefects(std::uint16_t allocation);
/// SEND DIAGNOSTIC of SPC-4: in the background, while the unit goes on answering.
ScsiRequest startSelfTest(SelfTestKind kind);
ScsiRequest abortSelfTest();

/// The pages that the answer to page 00h lists.
std::vector<std::uint8_t> parseSupportedLogPages(Bytes answer);
/// The number that a page's parameter holds, up to 8 bytes; nothing where the page has none.
std::optional<std::uint64_t> parseLogCounter(Bytes answer, std::uint8_t page, std::uint16_t parameter);
/// Total of errors that were not corrected, of pages 02h and 03h.
std::optional<std::uint64_t> parseUncorrectedErrors(Bytes answer, std::uint8_t page);
/// Whether the unit predicts its failure.
std::optional<bool> parseInformationalExceptions(Bytes answer);
/// Percent of the endurance that is used.
std::optional<std::uint8_t> parseEnduranceUsed(Bytes answer);
std::optional<std::uint64_t> parsePowerOnMinutes(Bytes answer);
/// The newest first; the one that runs among them.
std::vector<SelfTestEntry> parseSelfTestResults(Bytes answer);
/// The length of the list by its header.
std::optional<std::uint64_t> parseDefectCount(Bytes answer);
/// Progress of what the unit does in the background, from the sense data of REQUEST SENSE: 0 to 100.
std::optional<unsigned> parseProgress(Bytes sense);

}  // namespace libDrive2::scsi
