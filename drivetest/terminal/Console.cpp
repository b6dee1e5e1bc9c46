#include "drivetest/terminal/Console.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "drivetest/run/LastWords.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"

namespace drivetest {

namespace {

/// ECMA-48, SGR.
const char* sequenceOf(Emphasis emphasis) {
    switch (emphasis) {
        case Emphasis::strong:
            return "\033[1m";
        case Emphasis::good:
            return "\033[32m";
        case Emphasis::warning:
            return "\033[33m";
        case Emphasis::bad:
            return "\033[1;31m";
        case Emphasis::faint:
            return "\033[2m";
        case Emphasis::none:
            break;
    }
    return "";
}

/// no-color.org
bool wantsColours() {
    const char* const refused = std::getenv("NO_COLOR");
    return refused == nullptr || *refused == '\0';
}

/// Such a terminal shows sequences instead of following them.
bool isDumb() {
    const char* const terminal = std::getenv("TERM");
    return terminal != nullptr && std::string_view(terminal) == "dumb";
}

std::shared_ptr<OutputQueue> queueOf(std::FILE* stream) {
    std::fflush(stream);
    return OutputQueue::of(OutputFile::borrow(descriptorOf(stream)));
}

}  // namespace

Console::Console(std::FILE* stream, bool colours)
    : m_stream(stream),
      m_live(isTerminal(stream) && !isDumb()),
      m_coloured(colours && wantsColours()),
      m_queue(queueOf(stream)) {}

/// The cursor stands where the status begins, and is carried along when the terminal breaks its rows anew:
/// what follows is the status, and nothing else, however wide the terminal has become.
std::string Console::erasure() const {
    return std::string(m_status.empty() ? "" : kTakeStatusOff);
}

std::string Console::drawn(const StatusRow& row) const {
    std::string text;
    for (const auto& [piece, emphasis] : row) {
        const std::string sequence = m_coloured ? sequenceOf(emphasis) : "";
        text += sequence + piece + (sequence.empty() ? "" : "\033[0m");
    }
    return text;
}

/// Over what stands there, which does not flicker on slow lines. Nothing wraps meanwhile (DECAWM): a terminal
/// that became narrower a moment ago, or did not tell its width, cuts rows; they stay as many as they are.
std::string Console::drawn(const StatusRows& rows) const {
    std::string text = "\r\033[?7l";
    for (const StatusRow& row : rows)
        text += (&row == &rows.front() ? "" : "\033[K\n") + drawn(row);
    text += "\033[J";
    if (rows.size() > 1)
        text += "\033[" + std::to_string(rows.size() - 1) + "A";
    return text + "\r\033[?7h";
}

void Console::shareWith(const OutputFile& other) {
    m_live = m_live && !isSameOutput(other, OutputFile::borrow(descriptorOf(m_stream)));
}

void Console::line(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    const std::string shown = printable(text);
    m_queue->add(erasure() + (m_live ? foldedBehindLabel(shown, terminalSize(m_stream).columns) : shown) +
                 "\n" + m_status);
}

void Console::line(const StatusRow& row) {
    StatusRow shown;
    std::string plain;
    for (const auto& [piece, emphasis] : row) {
        shown.push_back({printable(piece), emphasis});
        plain += piece;
    }
    if (!m_live || columnsOf(printable(plain)) > terminalSize(m_stream).columns) {
        line(plain);
        return;
    }
    const std::lock_guard lock(m_mutex);
    m_queue->add(erasure() + drawn(shown) + "\n" + m_status);
}

void Console::status(const std::function<StatusRows(std::size_t columns)>& draw) {
    const std::lock_guard lock(m_mutex);
    // What is shown would be out of date when it came to be seen.
    if (!m_live || m_asking || m_queue->isBusy())
        return;
    const TerminalSize size = terminalSize(m_stream);
    StatusRows rows = draw(std::max(size.columns, 2U) - 1);
    // More than the screen holds could not be gone back over.
    rows.resize(std::min<std::size_t>(rows.size(), std::max(size.rows, 2U) - 1));
    const std::string text = rows.empty() ? erasure() : drawn(rows);
    m_status = rows.empty() ? "" : text;
    setStatusOn(descriptorOf(m_stream));
    m_queue->add(text);
}

void Console::clearStatus() {
    const std::lock_guard lock(m_mutex);
    m_queue->add(erasure());
    m_status.clear();
    setStatusOn(-1);
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
