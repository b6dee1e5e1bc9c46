#include "drivetest/windows/CommandWords.h"

namespace drivetest {

/// Backslashes count only before a quote.
std::wstring quotedWord(const std::wstring& word) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t letter : word) {
        if (letter == L'"')
            text.append(backslashes + 1, L'\\');
        backslashes = letter == L'\\' ? backslashes + 1 : 0;
        text += letter;
    }
    text.append(backslashes, L'\\');
    return text + L"\"";
}

}  // namespace drivetest
