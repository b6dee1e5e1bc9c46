#include "drivetest/commands/Arguments.h"

#include <memory>

#include "zel/windows/Utf16.h"
#include "zel/windows/Windows.h"

// After Windows.h, whose types it uses.
#include <shellapi.h>

namespace drivetest {

/// Not what the compiler's start-up code made of the command line: that lacks what the code page lacks, and
/// has file names in the place of "*".
std::vector<std::string> programArguments(int /*argc*/, char** /*argv*/) {
    int count = 0;
    const std::unique_ptr<wchar_t*, decltype(&LocalFree)> texts(CommandLineToArgvW(GetCommandLineW(), &count),
                                                                &LocalFree);
    std::vector<std::string> arguments;
    for (int i = 0; texts != nullptr && i < count; ++i)
        arguments.push_back(zel::fromWide(texts.get()[i]));
    return arguments;
}

}  // namespace drivetest
