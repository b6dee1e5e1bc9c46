#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/commands/Bytes.h"
#include "zel/windows/Windows.h"

namespace libDrive2 {

/// Sends a device control and gives what came back: at most `room` bytes, fewer where the driver returned
/// fewer, the beginning of an answer that would have been longer. Nothing, with the system's error set, on
/// failure.
std::optional<std::vector<std::uint8_t>> askDevice(HANDLE device, DWORD code, Bytes input, std::size_t room);

/// STORAGE_PROPERTY_QUERY for a property without parameters.
std::optional<std::vector<std::uint8_t>> askProperty(HANDLE device, std::uint32_t property, std::size_t room);

/// Sends one without an answer; false, with the system's error set, on failure.
bool tellDevice(HANDLE device, DWORD code, Bytes input = {});

}  // namespace libDrive2
