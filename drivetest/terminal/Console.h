#pragma once

#include <atomic>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "drivetest/run/OutputQueue.h"
#include "drivetest/terminal/StatusRows.h"

namespace drivetest {

/// The person's view of a run: lines, and below them a few status rows that are redrawn in place on a
/// terminal. Text is made printable and never waited for. Safe to use from several threads.
class Console {
public:
    /// Without colours where `colours` is false, or NO_COLOR is in the environment.
    explicit Console(std::FILE* stream, bool colours = true);

    /// Whether there is a status: on a terminal that moves its cursor and shows nothing else meanwhile.
    [[nodiscard]] bool isLive() const { return m_live; }
    /// Others write this, too: no status where both go to one terminal.
    void shareWith(const OutputFile& other);
    /// Writes a line above the status.
    void line(const std::string& text);
    /// The same, with pieces that stand out on a terminal.
    void line(const StatusRow& row);
    /// Replaces the status by the rows that `draw` makes for so many columns; only on a terminal that takes
    /// what it is sent.
    void status(const std::function<StatusRows(std::size_t columns)>& draw);
    /// Takes the status off the screen.
    void clearStatus();
    /// Progress is not shown while somebody is asked something.
    void setAsking(bool asking);
    [[nodiscard]] bool isAsking() const { return m_asking; }

private:
    [[nodiscard]] std::string erasure() const;
    [[nodiscard]] std::string drawn(const StatusRows& rows) const;
    [[nodiscard]] std::string drawn(const StatusRow& row) const;

    std::FILE* m_stream;
    bool m_live;
    bool m_coloured;
    std::shared_ptr<OutputQueue> m_queue;
    std::mutex m_mutex;
    std::string m_status;  ///< what draws it; the cursor is then where it begins
    std::atomic<bool> m_asking{false};
};

/// A sentence to standard error: "drivetest: …".
void complain(const std::string& sentence);

}  // namespace drivetest
