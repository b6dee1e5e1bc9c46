#pragma once

#include <CLI/App.hpp>

#include "drivetest/commands/CertificateOptions.h"

namespace drivetest {

/// The arguments of "drivetest certificate" and "drivetest verify".
void addCertificateOptions(CLI::App& command, CertificateOptions& options);
void addVerifyOptions(CLI::App& command, VerifyOptions& options);

}  // namespace drivetest
