#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

#include "drivetest/record/Json.h"
#include "libDrive2/DriveHealth.h"

namespace drivetest {

// What a place in JSON of another program's holds; nothing when it is not there or is something else. No list
// and no text is taken in full whatever its length.

using FieldPath = std::initializer_list<const char*>;
using FieldNumber = libDrive2::DriveHealth::Number;

/// No number is beyond it.
inline constexpr std::int64_t kMostOfFields = std::int64_t{1} << 62;
inline constexpr std::size_t kMostFields = 256;

/// Null for what is not there.
const Json& at(const Json& value, FieldPath path);
FieldNumber numberAt(const Json& value, FieldPath path);
/// From 0 on.
FieldNumber countAt(const Json& value, FieldPath path, std::int64_t most = kMostOfFields);
std::optional<bool> flagAt(const Json& value, FieldPath path);
/// Empty for nothing.
std::string textAt(const Json& value, FieldPath path);

/// Whatever is no list has no entries.
template <class Take>
void forEachIn(const Json& list, Take take) {
    std::size_t entries = 0;
    if (list.is_array())
        for (const Json& entry : list)
            if (++entries <= kMostFields)
                take(entry);
}

}  // namespace drivetest
