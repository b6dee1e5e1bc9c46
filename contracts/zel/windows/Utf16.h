#pragma once

#include <string>
#include <string_view>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// Texts as Windows takes and gives them. What is no valid Unicode becomes U+FFFD.
DRIVETEST_API std::wstring toWide(std::string_view utf8);
DRIVETEST_API std::string fromWide(std::wstring_view wide);

/// The system's words for an error of GetLastError(), in its language, without the line feed at their end;
/// "error N" where it has none.
DRIVETEST_API String systemMessage(unsigned long error);

/// A path in the form that Windows takes at any length: absolute, with the prefix "\\?\"; what begins with
/// "\\.\" or "\\?\" names a device and stays as it is.
DRIVETEST_API std::wstring longPath(std::string_view path);

}  // namespace zel
