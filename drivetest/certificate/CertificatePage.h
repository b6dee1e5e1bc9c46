#pragma once

#include <string>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// The certificate of a run in the language of the texts: HTML that prints on one page, and is the same for
/// the same record, name and language. `sha256` is that of the record's file, `file` its name.
std::string makeCertificate(const RecordedRun& run, const std::string& sha256);

}  // namespace drivetest
