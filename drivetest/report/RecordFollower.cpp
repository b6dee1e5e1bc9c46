#include "drivetest/report/RecordFollower.h"

#include <memory>

namespace drivetest {

RecordFollower::RecordFollower()
    : m_reader(std::string()),
      m_record(std::make_unique<RecordWriter>([this](std::string_view line) { take(line); })) {}

void RecordFollower::take(std::string_view line) {
    line.remove_suffix(1);  // its end
    m_isRead = m_isRead && m_reader.addLine(line);
}

std::optional<RecordedRun> RecordFollower::endOfRecord(const RunSummary& summary) {
    m_record.end(summary);
    if (!m_isRead || !m_reader.finish({}))
        return {};
    return m_reader.take();
}

}  // namespace drivetest
