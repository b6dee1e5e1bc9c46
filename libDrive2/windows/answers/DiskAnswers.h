#pragma once

#include <cstdint>
#include <optional>

#include "libDrive2/commands/Bytes.h"

/// What Windows' disk and class drivers answer, from the bytes that they returned: structures as documented,
/// little-endian, each field at the place that it has on 64-bit Windows. Nothing for answers that are too
/// short or make no sense.
namespace libDrive2::windows {

/// GET_LENGTH_INFORMATION: the device's bytes.
std::optional<std::uint64_t> parseLength(Bytes answer);

/// STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR: bytes of a physical sector, a multiple of the logical one's.
std::optional<std::uint32_t> parsePhysicalSector(Bytes answer, std::uint32_t logicalSectorBytes);

/// STORAGE_HOTPLUG_INFO: whether the medium can be taken out.
std::optional<bool> parseMediumRemovable(Bytes answer);

/// STORAGE_TEMPERATURE_DATA_DESCRIPTOR: degrees Celsius of its first sensor that reports.
std::optional<double> parseTemperature(Bytes answer);

}  // namespace libDrive2::windows
