#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "drivetest/shelf/ChildReport.h"
#include "drivetest/shelf/ReportPipe.h"
#include "drivetest/shelf/links/LinkSharing.h"
#include "drivetest/terminal/ProgressMeter.h"
#include "drivetest/terminal/ProgressText.h"

namespace drivetest {

/// Tells the process that has started this run how far it is, from a thread of its own. When that process is
/// gone, in whatever way, it stops the run: nobody is there any more who would.
class ShelfLink {
public:
    using Snapshot = std::function<ProgressSnapshot()>;

    explicit ShelfLink(std::unique_ptr<ReportPipe> pipe);
    ~ShelfLink();
    ShelfLink(const ShelfLink&) = delete;
    ShelfLink& operator=(const ShelfLink&) = delete;

    /// The test begins to write; told before this returns. The journal's file; empty for none.
    void tellStake(AtStake stake, const std::string& journal);
    /// What the drive shares with others that are tested beside it, as that process has told last.
    [[nodiscard]] std::vector<LinkSharing> sharing();
    /// Tells of a test while it lives; of none where there is no link.
    class Telling {
    public:
        Telling(ShelfLink* link, Snapshot snapshot);
        ~Telling();
        Telling(const Telling&) = delete;
        Telling& operator=(const Telling&) = delete;

    private:
        ShelfLink* m_link;
    };

private:
    void begin(Snapshot snapshot);
    void end();
    void watch();
    void look();
    void send();
    void listen();

    std::unique_ptr<ReportPipe> m_pipe;
    std::mutex m_mutex;  ///< guards what follows
    Snapshot m_snapshot;
    ProgressMeter m_meter;
    std::chrono::nanoseconds m_began{0};
    ChildReport m_report;
    std::string m_heard;  ///< the beginning of a line
    std::vector<LinkSharing> m_sharing;
    bool m_isEnding = false;
    std::thread m_thread;
};

}  // namespace drivetest
