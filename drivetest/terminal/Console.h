#pragma once

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "drivetest/run/OutputQueue.h"

namespace drivetest {

/// The person's view of a run: lines, and one status line that is redrawn in place on a terminal. Text is
/// made printable and never waited for. Safe to use from several threads.
class Console {
public:
    explicit Console(std::FILE* stream);

    [[nodiscard]] bool isLive() const { return m_live; }
    /// Writes a line above the status line.
    void line(const std::string& text);
    /// Replaces the status line; only on a terminal that takes what it is sent.
    void status(const std::string& text);
    /// Takes the status line off the screen.
    void clearStatus();
    /// Progress is not shown while somebody is asked something.
    void setAsking(bool asking);
    [[nodiscard]] bool isAsking() const { return m_asking; }

private:
    [[nodiscard]] std::string erasure() const;

    std::FILE* m_stream;
    bool m_live;
    std::shared_ptr<OutputQueue> m_queue;
    std::mutex m_mutex;
    std::string m_status;
    std::atomic<bool> m_asking{false};
};

/// A sentence to standard error: "drivetest: …".
void complain(const std::string& sentence);

}  // namespace drivetest
