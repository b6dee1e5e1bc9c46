#pragma once

#include <cstdint>
#include <functional>

#include "zel/Words.h"

namespace libDrive2 {

/// What a drive was doing, kept apart from its text: most actions succeed and need none.
struct DriveAction {
    const char* what;  ///< a text to translate: kReading and so on, or the whole where there are no sectors
    std::uint64_t lba = 0;
    std::uint32_t count = 0;  ///< 0 for an action without sectors
};

inline constexpr const char* kReading = zel::marked("reading {sectors}");
inline constexpr const char* kWriting = zel::marked("writing {sectors}");
inline constexpr const char* kSeeking = zel::marked("seeking to {sectors}");
inline constexpr const char* kFlushing = zel::marked("flushing the cache");

/// "reading sectors 5 through 8 of NAME"; without " of NAME" when there is none.
zel::Wording describe(const DriveAction& action, const zel::String& name);
/// Makes the same, and that it failed, when it is called.
std::function<zel::Wording()> failureOf(const DriveAction& action, zel::String name, zel::Wording reason);
/// The same, and that it succeeded with an effort.
std::function<zel::Wording()> recoveryOf(const DriveAction& action, zel::String name, zel::Wording reason);

}  // namespace libDrive2
