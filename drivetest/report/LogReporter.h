#pragma once

#include <memory>
#include <string>
#include <utility>

#include "drivetest/report/RunReporter.h"
#include "drivetest/run/OutputQueue.h"
#include "drivetest/terminal/Texts.h"

namespace drivetest {

/// The file of the log: all that was logged, a line each.
class LogReporter : public RunReporter {
public:
    explicit LogReporter(OutputFile file) : m_queue(OutputQueue::of(std::move(file))) {}

    void log(const zel::String& logger, int priority, const zel::String& text) override {
        m_queue->add(printable(std::to_string(priority) + " " + logger.utf8() + ": " + text.utf8()) + "\n");
    }

private:
    std::shared_ptr<OutputQueue> m_queue;
};

}  // namespace drivetest
