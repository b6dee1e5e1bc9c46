#pragma once

#include <string>

namespace drivetest {

/// What the user asked of "drivetest selftest".
struct SelfTestOptions {
    std::string device;
    std::string kind;  ///< "short" or "extended"; empty with `abort`
    bool abort = false;
};

}  // namespace drivetest
