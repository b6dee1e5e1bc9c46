#pragma once

#include "drivetest/terminal/Console.h"
#include "quix5/MessageBox2.h"
#include "zel/String.h"

namespace drivetest {

/// A prompt on the terminal: Enter is OK, c and Enter cancels. Destroyed unanswered, it stays on the screen.
/// As long as it lives, the status line rests.
class TerminalPrompt : public quix5::MessageBox2 {
public:
    TerminalPrompt(Console& console, const zel::String& text, const zel::String& title);

    ~TerminalPrompt() override;
    TerminalPrompt(const TerminalPrompt&) = delete;
    TerminalPrompt& operator=(const TerminalPrompt&) = delete;

    bool display() override;
    bool wait(std::uint32_t milliseconds) override;
    [[nodiscard]] quix5::MessageBox2_Returns getReturn() const override { return m_answer; }

private:
    Console& m_console;
    std::string m_text;
    quix5::MessageBox2_Returns m_answer = quix5::MessageBox2_Returns::NOT_SHOWN;
};

}  // namespace drivetest
