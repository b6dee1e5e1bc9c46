#include "drivetest/record/RecordWriter.h"

#include "zel/Format.h"

namespace drivetest {

namespace {

constexpr const char* kStepId = "0";

/// RFC 3339 in UTC with milliseconds.
std::string formatTime(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(floor<milliseconds>(time - day));
    return zel::format("%04i-%02u-%02uT%02i:%02i:%02i.%03iZ", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                       static_cast<int>(clock.seconds().count()),
                       static_cast<int>(clock.subseconds().count()))
        .utf8();
}

}  // namespace

RecordWriter::RecordWriter(std::string path, OutputFile file)
    : m_path(std::move(path)),
      m_queue(OutputQueue::of(std::move(file))),
      m_sink([queue = m_queue](std::string line) { queue->add(std::move(line)); }),
      m_start(std::chrono::system_clock::now()),
      m_steadyStart(std::chrono::steady_clock::now()) {}

RecordWriter::RecordWriter(Sink sink)
    : m_sink(std::move(sink)),
      m_start(std::chrono::system_clock::now()),
      m_steadyStart(std::chrono::steady_clock::now()) {}

void RecordWriter::write(Json line) {
    // On the steady clock from the start on, so that times never go back.
    const auto elapsed = std::chrono::steady_clock::now() - m_steadyStart;
    line["sequenceNumber"] = m_sequence++;
    line["timestamp"] =
        formatTime(m_start + std::chrono::duration_cast<std::chrono::system_clock::duration>(elapsed));
    m_sink(line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

void RecordWriter::writeSchemaVersion() {
    write({{"schemaVersion", {{"major", 2}, {"minor", 0}}}});
}

void RecordWriter::writeRun(const char* artifact, Json content) {
    write({{"testRunArtifact", {{artifact, std::move(content)}}}});
}

void RecordWriter::writeStep(const char* artifact, Json content) {
    Json step;
    step["testStepId"] = kStepId;
    step[artifact] = std::move(content);
    write({{"testStepArtifact", std::move(step)}});
}

}  // namespace drivetest
