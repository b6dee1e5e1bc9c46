#pragma once

#include <string>

namespace drivetest {

/// A word of a command line, as the runtime of a program takes it apart again.
std::wstring quotedWord(const std::wstring& word);

}  // namespace drivetest
