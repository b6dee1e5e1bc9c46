#include "drivetest/terminal/Console.h"

#include "drivetest/terminal/Terminal.h"

namespace drivetest {

namespace {

/// At most so many characters, never half a UTF-8 sequence.
std::string shorten(const std::string& text, std::size_t width) {
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80 && ++characters > width)
            return text.substr(0, i);
    return text;
}

}  // namespace

Console::Console(std::FILE* stream) : m_stream(stream), m_live(isTerminal(stream)) {}

void Console::eraseStatus() {
    if (!m_status.empty())
        std::fputs("\r\033[K", m_stream);
}

void Console::line(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    eraseStatus();
    std::fputs((text + "\n" + m_status).c_str(), m_stream);
    std::fflush(m_stream);
}

void Console::status(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    if (!m_live)
        return;
    eraseStatus();
    m_status = shorten(text, terminalWidth(m_stream) - 1);
    std::fputs(m_status.c_str(), m_stream);
    std::fflush(m_stream);
}

void Console::clearStatus() {
    const std::lock_guard lock(m_mutex);
    eraseStatus();
    m_status.clear();
    std::fflush(m_stream);
}

void complain(const std::string& sentence) {
    std::fflush(stdout);
    std::fputs(("drivetest: " + sentence + "\n").c_str(), stderr);
}

}  // namespace drivetest
