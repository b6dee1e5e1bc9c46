#include "drivetest/report/HtmlReporter.h"

#include <utility>
#include <vector>

#include "drivetest/html/HtmlReport.h"

namespace drivetest {

HtmlReporter::HtmlReporter(std::string path, OutputFile file)
    : m_path(std::move(path)),
      m_file(std::move(file)),
      m_reader(std::string()),
      m_record(std::make_unique<RecordWriter>([this](std::string_view line) { take(line); })) {}

void HtmlReporter::take(std::string_view line) {
    line.remove_suffix(1);  // its end
    m_isRead = m_isRead && m_reader.addLine(line);
}

void HtmlReporter::end(const RunSummary& summary) {
    m_record.end(summary);
    m_isWritten = m_isRead && m_reader.finish({}) && write();
}

bool HtmlReporter::write() {
    std::vector<RecordedRun> runs;
    runs.push_back(m_reader.take());
    return m_file.begin() &&
           writeHtmlReport(runs, [this](std::string_view part) { return m_file.write(part); });
}

}  // namespace drivetest
