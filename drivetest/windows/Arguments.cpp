#include "drivetest/windows/Arguments.h"

#include <algorithm>

#include "drivetest/commands/Arguments.h"
#include "zel/windows/Utf16.h"
#include "zel/windows/Windows.h"

namespace drivetest {

namespace {

constexpr std::wstring_view kBlanks = L" \t";

/// Takes the program's name off: its quotes only keep blanks together.
std::wstring takeName(std::wstring_view& line) {
    std::wstring name;
    bool quoted = false;
    std::size_t i = 0;
    for (; i < line.size() && (quoted || kBlanks.find(line[i]) == std::wstring_view::npos); ++i)
        if (line[i] == L'"')
            quoted = !quoted;
        else
            name += line[i];
    line.remove_prefix(i);
    return name;
}

/// Takes the next word off, which begins here.
std::wstring takeWord(std::wstring_view& line) {
    std::wstring word;
    bool quoted = false;
    while (!line.empty() && (quoted || kBlanks.find(line.front()) == std::wstring_view::npos)) {
        const std::size_t slashes = std::min(line.find_first_not_of(L'\\'), line.size());
        line.remove_prefix(slashes);
        if (!line.starts_with(L'"')) {
            word.append(slashes, L'\\');
            if (slashes == 0) {
                word += line.front();
                line.remove_prefix(1);
            }
            continue;
        }
        word.append(slashes / 2, L'\\');
        const bool isDoubled = quoted && slashes % 2 == 0 && line.substr(1).starts_with(L'"');
        if (slashes % 2 == 1 || isDoubled)
            word += L'"';
        else
            quoted = !quoted;
        line.remove_prefix(isDoubled ? 2 : 1);
    }
    return word;
}

}  // namespace

std::vector<std::string> splitCommandLine(std::wstring_view line) {
    std::vector<std::string> words{zel::fromWide(takeName(line))};
    while (true) {
        line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
        if (line.empty())
            return words;
        words.push_back(zel::fromWide(takeWord(line)));
    }
}

/// Not what start-up code made of the command line: that lacks what the code page lacks, and has the names of
/// files in the place of "*". Nor by shell32.dll, for a program that has it loaded is not told of the end of
/// the session.
std::vector<std::string> programArguments(int /*argc*/, char** /*argv*/) {
    return splitCommandLine(GetCommandLineW());
}

}  // namespace drivetest
