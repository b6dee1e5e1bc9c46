#pragma once

#include <cstdio>
#include <mutex>
#include <string>

namespace drivetest {

/// The person's view of a run: lines, and one status line that is redrawn in place on a terminal. Safe to
/// use from several threads.
class Console {
public:
    explicit Console(std::FILE* stream);

    [[nodiscard]] bool isLive() const { return m_live; }
    /// Writes a line above the status line.
    void line(const std::string& text);
    /// Replaces the status line; only on a terminal.
    void status(const std::string& text);
    /// Takes the status line off the screen.
    void clearStatus();

private:
    void eraseStatus();

    std::FILE* m_stream;
    bool m_live;
    std::mutex m_mutex;
    std::string m_status;
};

/// A sentence to standard error: "drivetest: …".
void complain(const std::string& sentence);

}  // namespace drivetest
