#include "drivetest/record/RecordWriter.h"

#include <algorithm>
#include <utility>

#include "drivetest/record/ListPlaces.h"
#include "drivetest/record/ObjectOf.h"
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
      m_start(std::chrono::system_clock::now()),
      m_steadyStart(std::chrono::steady_clock::now()) {}

RecordWriter::RecordWriter(Sink sink)
    : m_sink(std::move(sink)),
      m_start(std::chrono::system_clock::now()),
      m_steadyStart(std::chrono::steady_clock::now()) {}

std::string RecordWriter::stamped(Json line) {
    // On the steady clock from the start on, so that times never go back.
    const auto elapsed = std::chrono::steady_clock::now() - m_steadyStart;
    line["sequenceNumber"] = m_sequence++;
    line["timestamp"] = std::max(
        m_lastTime,
        formatTime(m_start + std::chrono::duration_cast<std::chrono::system_clock::duration>(elapsed)));
    return line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

void RecordWriter::give(std::string line, bool isDurable) {
    if (m_queue == nullptr) {
        m_sink(std::move(line));
        return;
    }
    m_digest.add(line);
    m_queue->add(std::move(line), isDurable);
}

void RecordWriter::write(Json line) {
    give(stamped(std::move(line)), false);
}

void RecordWriter::writeProof(const char* name, Json content) {
    content["sha256"] = kNoDigest;
    Json extension = objectOf({{"name", name}, {"content", std::move(content)}});
    Json step = objectOf({{"testStepId", kStepId}, {"extension", std::move(extension)}});
    std::string line = stamped(objectOf({{"testStepArtifact", std::move(step)}}));
    Sha256 digest = m_digest;
    digest.add(line);
    line.replace(line.rfind(kNoDigest), kNoDigest.size(), digest.hexDigest());
    give(std::move(line), true);
}

void RecordWriter::takeOver(const std::string& lines) {
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = lines.find('\n', begin)) != std::string::npos; begin = end + 1) {
        ++m_sequence;
        if (m_queue == nullptr)
            m_sink(lines.substr(begin, end + 1 - begin));
        if (end + 1 == lines.size())
            m_lastTime =
                Json::parse(std::string_view(lines).substr(begin, end - begin)).value("timestamp", "");
    }
    if (m_queue != nullptr)
        give(lines, false);
}

void RecordWriter::writeSchemaVersion() {
    write({{"schemaVersion", {{"major", 2}, {"minor", 0}}}});
}

void RecordWriter::writeRun(const char* artifact, Json content) {
    write(objectOf({{"testRunArtifact", objectOf({{artifact, std::move(content)}})}}));
}

void RecordWriter::writeStep(const char* artifact, Json content, const std::vector<std::string>& lists) {
    Json step = objectOf({{"testStepId", kStepId}, {artifact, std::move(content)}});
    std::string line = stamped(objectOf({{"testStepArtifact", std::move(step)}}));
    insertLists(line, lists);
    give(std::move(line), false);
}

}  // namespace drivetest
