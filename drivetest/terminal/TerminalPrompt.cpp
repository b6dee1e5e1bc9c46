#include "drivetest/terminal/TerminalPrompt.h"

#include "drivetest/terminal/Terminal.h"
#include "zel/Words.h"

namespace drivetest {

using quix5::MessageBox2_Returns;

TerminalPrompt::TerminalPrompt(Console& console, const zel::String& text, const zel::String& title)
    : m_console(console),
      m_text(zel::words("{problem}: {reason}", {{"problem", title}, {"reason", text}}) + " " +
             zel::words("[Enter: continue, c: cancel]")) {}

TerminalPrompt::~TerminalPrompt() {
    m_console.setAsking(false);
}

bool TerminalPrompt::display() {
    m_console.setAsking(true);
    m_console.line(m_text);
    return true;
}

bool TerminalPrompt::wait(std::uint32_t milliseconds) {
    std::string line;
    const auto time = std::chrono::milliseconds(milliseconds == 0 ? -1 : std::int64_t{milliseconds});
    const InputWait outcome = waitForLine(time, line);
    if (outcome == InputWait::timeout)
        return false;
    // Without an input nobody can answer: the same as cancelling.
    const bool cancelled = outcome == InputWait::closed || line == "c" || line == "C";
    m_answer = cancelled ? MessageBox2_Returns::CANCEL : MessageBox2_Returns::OK;
    return true;
}

}  // namespace drivetest
