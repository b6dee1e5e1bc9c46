#pragma once

#include <string>

namespace drivetest {

/// What the user asked of "drivetest certificate".
struct CertificateOptions {
    std::string record;
    std::string output;
    std::string pdf;  ///< empty for none
    std::string key;  ///< that signs; empty for none
    bool replaceOutput = false;
};

/// What the user asked of "drivetest verify".
struct VerifyOptions {
    std::string certificate;
    std::string record;  ///< empty for none
    std::string allowedSigners;
    std::string identity;
};

}  // namespace drivetest
