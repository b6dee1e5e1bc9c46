#include "drivetest/terminal/Console.h"

#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"

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

std::shared_ptr<OutputQueue> queueOf(std::FILE* stream) {
    std::fflush(stream);
    return OutputQueue::of(OutputFile::borrow(descriptorOf(stream)));
}

}  // namespace

Console::Console(std::FILE* stream)
    : m_stream(stream), m_live(isTerminal(stream)), m_queue(queueOf(stream)) {}

std::string Console::erasure() const {
    return m_status.empty() ? "" : "\r\033[K";
}

void Console::line(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    m_queue->add(erasure() + printable(text) + "\n" + m_status);
}

void Console::status(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    // What is shown would be out of date when it came to be seen.
    if (!m_live || m_asking || m_queue->isBusy())
        return;
    std::string update = erasure();
    m_status = shorten(printable(text), terminalWidth(m_stream) - 1);
    m_queue->add(update + m_status);
}

void Console::clearStatus() {
    const std::lock_guard lock(m_mutex);
    m_queue->add(erasure());
    m_status.clear();
}

void Console::setAsking(bool asking) {
    m_asking = asking;
    clearStatus();
}

void complain(const std::string& sentence) {
    std::fflush(stdout);
    OutputQueue::standard(2)->add("drivetest: " + printable(sentence) + "\n");
}

}  // namespace drivetest
