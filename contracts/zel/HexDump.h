#pragma once

#include <cstddef>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// A line for every 16 bytes: the offset, the bytes in hexadecimal, and as characters where they are
/// printable. Every line ends with a line feed.
DRIVETEST_API String hexDump(const void* data, std::size_t bytes);

}  // namespace zel
