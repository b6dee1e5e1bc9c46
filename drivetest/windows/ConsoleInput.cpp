#include "drivetest/windows/ConsoleInput.h"

#include <array>
#include <string>
#include <thread>

#include "zel/windows/Utf16.h"
#include "zel/windows/Windows.h"

namespace drivetest {

namespace {

/// Typed at the beginning of a line, it ends the input, as for other programs.
constexpr wchar_t kEndOfInput = L'\x1a';

bool isFirstHalf(wchar_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

}  // namespace

ConsoleInput& ConsoleInput::get() {
    static ConsoleInput& input = *new ConsoleInput;
    return input;
}

Input ConsoleInput::take(std::chrono::milliseconds time, char& next) {
    std::unique_lock lock(m_mutex);
    if (!m_started)
        std::thread([this] { readAll(); }).detach();
    m_started = true;
    m_arrived.wait_for(lock, time, [this] { return m_closed || !m_typed.empty(); });
    if (m_typed.empty())
        return m_closed ? Input::closed : Input::nothing;
    next = m_typed.front();
    m_typed.pop_front();
    return Input::character;
}

void ConsoleInput::readAll() {
    while (readLine())
        m_arrived.notify_all();
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    m_arrived.notify_all();
}

/// A line, or as much of it as there is room for; false at the end of the input.
bool ConsoleInput::readLine() {
    std::array<wchar_t, 1024> units{};
    DWORD got = 0;
    SetLastError(ERROR_SUCCESS);
    const HANDLE console = GetStdHandle(STD_INPUT_HANDLE);
    if (ReadConsoleW(console, units.data(), units.size() - 1, &got, nullptr) == FALSE)
        return false;
    if (got == 0)  // Ctrl-C ended the line: whoever waits learns of it otherwise
        return GetLastError() == ERROR_OPERATION_ABORTED;
    DWORD rest = 0;
    if (isFirstHalf(units.at(got - 1)) && ReadConsoleW(console, &units.at(got), 1, &rest, nullptr) != FALSE)
        got += rest;
    if (units.front() == kEndOfInput)
        return false;
    const std::lock_guard lock(m_mutex);
    for (const char c : zel::fromWide(std::wstring_view(units.data(), got)))
        m_typed.push_back(c);
    return true;
}

}  // namespace drivetest
