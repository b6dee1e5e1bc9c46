#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "drivetest/record/Json.h"
#include "drivetest/record/Sha256.h"

namespace drivetest {

/// The lines of a file that each prove themselves and all before them: an object of JSON whose last member is
/// "sha256", the SHA-256 of the bytes of all lines before it and of the object without that member. What a
/// power cut left of a line, or damaged, is none.
class WorkSeal {
public:
    /// The line for an object, with its end.
    std::string seal(const Json& object);
    /// The object of the next line, which is given without its end; nothing when that is not what was sealed.
    std::optional<Json> open(std::string_view line);

private:
    Sha256 m_digest;  ///< of all lines so far
};

}  // namespace drivetest
