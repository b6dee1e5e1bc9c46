#pragma once

#include <string_view>

namespace drivetest {

/// The files of drivetest/html/page and what curves are drawn with, put in at build time.
extern const std::string_view kPageStyle;
extern const std::string_view kCertificateStyle;
extern const std::string_view kPageScript;
extern const std::string_view kSortScript;
extern const std::string_view kCurveStyle;
extern const std::string_view kCurveScript;

}  // namespace drivetest
