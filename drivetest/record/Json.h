#pragma once

#include <nlohmann/json.hpp>

namespace drivetest {

/// Members keep their order: people read records, too.
using Json = nlohmann::ordered_json;

}  // namespace drivetest
