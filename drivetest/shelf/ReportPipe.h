#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

namespace drivetest {

/// The end of a pipe that the process which has started this one reads. Never waits for it.
class ReportPipe {
public:
    /// By the number that was given on the command line. Null when that is no pipe.
    static std::unique_ptr<ReportPipe> adopt(long long number);
    virtual ~ReportPipe() = default;
    ReportPipe(const ReportPipe&) = delete;
    ReportPipe& operator=(const ReportPipe&) = delete;

    /// The whole line, or nothing when there is no room for it now.
    virtual void send(std::string_view line) = 0;
    /// What the reader has told on standard input since the last call; empty where that is none of his pipes.
    virtual std::string take() = 0;
    /// Waits for the reader's end, but no longer than that; false when he is still there.
    virtual bool waitForEnd(std::chrono::milliseconds longest) = 0;

protected:
    ReportPipe() = default;
};

/// As the stop by whoever has started this process, who is not there any more to ask for it.
void stopAsIfAsked();

}  // namespace drivetest
