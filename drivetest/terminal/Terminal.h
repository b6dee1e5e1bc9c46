#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace drivetest {

int descriptorOf(std::FILE* stream);
/// Whether a person sees this stream in a terminal.
bool isTerminal(std::FILE* stream);
/// Columns of the terminal behind the stream; 80 when it has none.
unsigned terminalWidth(std::FILE* stream);

enum class InputWait : unsigned char { line, timeout, closed };
/// Waits for a line on standard input, once all that was printed can be seen; a negative time waits without
/// limit. A stop request ends the wait like a closed input.
InputWait waitForLine(std::chrono::milliseconds time, std::string& line);

/// The language that the user's environment asks for, such as "de_DE.UTF-8" or "de-DE"; empty for none.
std::string userLanguage();

/// The folder that the running program's file is in.
std::string programFolder();

}  // namespace drivetest
