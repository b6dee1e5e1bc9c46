#pragma once

#include <string>

namespace drivetest {

/// What the user asked of "drivetest tests".
struct TestsOptions {
    std::string test;
    bool namesOnly = false;
    std::string moduleFile;
};

}  // namespace drivetest
