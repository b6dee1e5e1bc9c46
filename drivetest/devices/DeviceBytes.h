#pragma once

#include <string>
#include <string_view>

#include "quix5/DiagDevice.h"

namespace drivetest {

/// All that is known of a device, as bytes for another process of this program, and back. False when they
/// are none.
std::string bytesOf(const quix5::DiagDevice& device);
bool readDevice(std::string_view bytes, quix5::DiagDevice& device);

}  // namespace drivetest
