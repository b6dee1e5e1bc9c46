#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace drivetest {

int descriptorOf(std::FILE* stream);
/// Whether a person sees this stream in a terminal.
bool isTerminal(std::FILE* stream);

struct TerminalSize {
    unsigned columns = 80;
    unsigned rows = 24;
};
/// Of the terminal behind the stream; what it does not tell is the usual, as on many a serial line.
TerminalSize terminalSize(std::FILE* stream);

enum class Input : unsigned char { nothing, character, closed };
/// Waits at most that long for one character on standard input.
Input readCharacter(std::chrono::milliseconds time, char& next);

enum class InputWait : unsigned char { line, timeout, closed };
/// Waits for a line on standard input, once all that was printed can be seen; a negative time waits without
/// limit. A stop request ends the wait like a closed input.
InputWait waitForLine(std::chrono::milliseconds time, std::string& line);

/// The language that the user has chosen for the whole system, such as "de-DE"; empty where there is no such
/// thing.
std::string systemLanguage();

/// The folder that the running program's file is in.
std::string programFolder();

}  // namespace drivetest
