#include "drivetest/report/HtmlReporter.h"

#include <optional>
#include <utility>
#include <vector>

#include "drivetest/html/HtmlReport.h"

namespace drivetest {

HtmlReporter::HtmlReporter(std::string path, OutputFile file)
    : m_path(std::move(path)), m_file(std::move(file)) {}

void HtmlReporter::end(const RunSummary& summary) {
    std::optional<RecordedRun> run = endOfRecord(summary);
    m_isWritten = run && write(*std::move(run));
}

bool HtmlReporter::write(RecordedRun run) {
    std::vector<RecordedRun> runs;
    runs.push_back(std::move(run));
    return m_file.begin() &&
           writeHtmlReport(runs, [this](std::string_view part) { return m_file.write(part); });
}

}  // namespace drivetest
