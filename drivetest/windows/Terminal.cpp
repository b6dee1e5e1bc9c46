#include "drivetest/terminal/Terminal.h"

#include <io.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <thread>

#include "drivetest/windows/ConsoleInput.h"
#include "drivetest/windows/ConsoleModes.h"
#include "drivetest/windows/StandardHandle.h"
#include "zel/Path.h"
#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace drivetest {

namespace {

/// Between two looks into a pipe, which cannot be waited for.
constexpr std::chrono::milliseconds kPipeInterval{20};

using Clock = std::chrono::steady_clock;

Input readFile(HANDLE file, char& next) {
    DWORD got = 0;
    const bool read = zel::SystemCalls::current().readFile(file, &next, 1, &got, nullptr) != FALSE;
    return read && got == 1 ? Input::character : Input::closed;
}

/// A read from an empty pipe could not be ended.
Input readPipe(HANDLE pipe, std::chrono::milliseconds time, char& next) {
    const auto end = Clock::now() + time;
    DWORD available = 0;
    while (PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) != FALSE) {
        if (available > 0)
            return readFile(pipe, next);
        if (Clock::now() >= end)
            return Input::nothing;
        std::this_thread::sleep_for(std::min(time, kPipeInterval));
    }
    return Input::closed;
}

/// Waits at most that long for one character.
Input read(int descriptor, std::chrono::milliseconds time, char& next) {
    if (isConsole(descriptor))
        return ConsoleInput::get().take(time, next);
    const HANDLE handle = handleOf(descriptor);
    if (handle == INVALID_HANDLE_VALUE)
        return Input::closed;
    return fileTypeOf(descriptor) == FILE_TYPE_PIPE ? readPipe(handle, time, next) : readFile(handle, next);
}

}  // namespace

/// The standard streams also have theirs where the process was not given them, and the library has none.
int descriptorOf(std::FILE* stream) {
    if (stream == stdin)
        return kInput;
    return stream == stdout ? kOutput : stream == stderr ? kErrors : _fileno(stream);
}

/// One for output also follows the sequences by which the status line is drawn.
bool isTerminal(std::FILE* stream) {
    const int descriptor = descriptorOf(stream);
    return isConsole(descriptor) && (stream == stdin || followSequences(handleOf(descriptor)));
}

TerminalSize terminalSize(std::FILE* stream) {
    TerminalSize size;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(handleOf(descriptorOf(stream)), &info) == FALSE)
        return size;
    if (const int columns = info.srWindow.Right - info.srWindow.Left + 1; columns > 0)
        size.columns = static_cast<unsigned>(columns);
    if (const int rows = info.srWindow.Bottom - info.srWindow.Top + 1; rows > 0)
        size.rows = static_cast<unsigned>(rows);
    return size;
}

/// Lines end with two characters here; one is enough.
Input readCharacter(std::chrono::milliseconds time, char& next) {
    const Input input = read(kInput, time, next);
    return input == Input::character && next == '\r' ? Input::nothing : input;
}

std::string systemLanguage() {
    std::array<wchar_t, LOCALE_NAME_MAX_LENGTH> name{};
    const int units = GetUserDefaultLocaleName(name.data(), static_cast<int>(name.size()));
    return units > 1 ? zel::fromWide(std::wstring_view(name.data(), static_cast<std::size_t>(units) - 1))
                     : std::string();
}

std::string programFolder() {
    std::wstring file(MAX_PATH, L'\0');
    DWORD units = 0;
    while ((units = GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size()))) == file.size())
        file.resize(file.size() * 2);
    file.resize(units);
    return zel::textOf(std::filesystem::path(file).parent_path());
}

}  // namespace drivetest
