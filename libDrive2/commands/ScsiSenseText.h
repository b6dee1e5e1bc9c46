#pragma once

#include <cstdint>
#include <string>

namespace libDrive2::scsi {

struct Sense;

/// "medium error, unrecovered read error at sector 1234 (sense 03/11/00)".
std::string describe(const Sense& sense);
/// Two digits.
std::string hexByte(std::uint8_t value);

}  // namespace libDrive2::scsi
