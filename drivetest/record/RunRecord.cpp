#include "drivetest/record/RunRecord.h"

#include <cmath>
#include <utility>

#include "drivetest/health/HealthJson.h"
#include "drivetest/record/GradeJson.h"
#include "drivetest/record/ObjectOf.h"
#include "drivetest/record/ResumeJson.h"
#include "drivetest/record/RunStartJson.h"
#include "drivetest/record/SharingJson.h"
#include "drivetest/record/StatisticsJson.h"
#include "drivetest/resume/ResumedRun.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

using quix5::TestResult;

namespace {

constexpr std::uint64_t kMostLogLines = 1000;
constexpr int kLeastLogPriority = 3;

Json placeJson(quix5::SourceLocation where) {
    return {{"file", where.file}, {"line", where.line}};
}

const char* severityOf(int priority) {
    if (priority >= 4)
        return "ERROR";
    if (priority == 3)
        return "WARNING";
    return priority >= 1 ? "INFO" : "DEBUG";
}

struct Verdict {
    const char* status;
    const char* result;
};

Verdict verdictOf(const TestResult& result) {
    switch (result.code()) {
        case TestResult::PASS:
        case TestResult::WARN:
            return {"COMPLETE", "PASS"};
        case TestResult::FAIL:
            return {"COMPLETE", "FAIL"};
        case TestResult::USERABORTED:
            return {"SKIP", "NOT_APPLICABLE"};
        default:
            return {"ERROR", "NOT_APPLICABLE"};
    }
}

RecordedEvent recorded(const quix5::Event& event, const char* type, const std::string& cause) {
    RecordedEvent result{event.key().utf8(), type, cause, event.localizedMessage().utf8(), Json::object()};
    for (const auto& [name, value] : event.variables())
        result.variables[name.utf8()] = jsonOf(value);
    return result;
}

}  // namespace

RunRecord::RunRecord(std::unique_ptr<RecordWriter> writer)
    : m_writer(std::move(writer)),
      m_events([this](const char* name, Json content) { writeJoined(name, std::move(content)); }) {}

void RunRecord::begin(const RunStart& start) {
    m_test = &start.test;
    if (start.resumed != nullptr) {
        goOn(*start.resumed, start.commandLine);
        return;
    }
    m_writer->writeSchemaVersion();
    m_writer->writeRun("testRunStart", runStartJson(start));
    m_writer->writeStep("testStepStart", {{"name", start.test.name().utf8()}});
    if (Json links = linksJson(start.device); !links.empty())
        writeExtension("links", {{"links", std::move(links)}});
}

void RunRecord::goOn(const ResumedRun& resumed, const std::string& commandLine) {
    m_isResumed = true;
    m_events.goOnAfter(resumed.events);
    m_logLines = resumed.logLines;
    m_hasError = !resumed.run.problems.empty();
    m_writer->takeOver(resumed.lines);
    writeExtension("resumed", resumedJson(resumed, commandLine));
}

void RunRecord::progress(const RunProgress& progress) {
    m_events.flush();
    m_writer->writeProof("progress", progressJson(progress));
}

/// That of standard output ends the run, and is told then.
std::string RunRecord::failure() const {
    const std::string reason = m_writer->failure();
    return reason.empty() || m_writer->path() == "-"
               ? std::string()
               : zel::words("the record {file} cannot be written to: {reason}",
                            {{"file", printable(m_writer->path())}, {"reason", reason}});
}

void RunRecord::writeExtension(const char* name, Json content) {
    m_writer->writeStep("extension", objectOf({{"name", name}, {"content", std::move(content)}}));
}

void RunRecord::driveObtained(const DriveAccess& access) {
    if (m_isResumed)
        return;
    writeExtension("drive", driveJson(access));
    if (access.fingerprint != nullptr)
        writeExtension("fingerprint", fingerprintJson(*access.fingerprint));
}

void RunRecord::health(HealthTime when, const HealthReading& reading) {
    if (m_isResumed && when == HealthTime::beforeTest)
        return;
    Json content{{"when", when == HealthTime::beforeTest ? kHealthBefore : kHealthAfter}};
    content.update(healthJson(reading));
    writeExtension("health", std::move(content));
}

/// Several that became one are diagnosed together, too.
void RunRecord::writeJoined(const char* name, Json content) {
    const bool isDiagnosed = content.contains("count") && content["type"] == "ERR";
    Json diagnosis;
    if (isDiagnosed)
        diagnosis = {{"verdict", content["key"]},
                     {"type", "FAIL"},
                     {"message", std::to_string(content["count"].get<std::uint64_t>()) +
                                     " times: " + content["message"].get<std::string>() + " ... " +
                                     content["lastMessage"].get<std::string>()},
                     {"hardwareInfoId", kHardwareId}};
    writeExtension(name, std::move(content));
    if (isDiagnosed)
        m_writer->writeStep("diagnosis", std::move(diagnosis));
}

void RunRecord::event(const RunEvent& event) {
    m_lastMessage = event.event.localizedMessage();
    const bool isWhole = m_events.add(recorded(event.event, quix5::nameOf(event.type), event.cause));
    // A range that took no time to measure has no number.
    if (const auto& measured = event.event.measurement(); measured && std::isfinite(measured->value))
        m_measured[measured->name] = *measured;
    if (isWhole && event.type == quix5::EventType::ERR)
        m_writer->writeStep("diagnosis", {{"verdict", event.event.key().utf8()},
                                          {"type", "FAIL"},
                                          {"message", m_lastMessage.utf8()},
                                          {"hardwareInfoId", kHardwareId},
                                          {"sourceLocation", placeJson(event.where)}});
}

void RunRecord::runError(const RunError& error) {
    if (error.event != nullptr) {
        m_lastMessage = error.event->localizedMessage();
        m_events.flush();
        m_events.add(recorded(*error.event, quix5::nameOf(quix5::EventType::ERR), error.cause));
    }
    m_hasError = true;
    const bool isCauseToldApart = error.event != nullptr || error.cause.empty();
    Json content{{"symptom", error.symptom},
                 {"message", error.message + (isCauseToldApart ? "" : ": " + error.cause)},
                 {"softwareInfoIds", Json::array({kSoftwareId})}};
    if (error.where)
        content["sourceLocation"] = placeJson(*error.where);
    m_writer->writeStep("error", std::move(content));
}

void RunRecord::log(const zel::String& logger, int priority, const zel::String& text) {
    if (priority < kLeastLogPriority || text == m_lastMessage || ++m_logLines > kMostLogLines + 1)
        return;
    if (m_logLines > kMostLogLines) {
        m_writer->writeStep(
            "log",
            {{"severity", "INFO"}, {"message", "further lines are not kept here: a file of --log has them"}});
        return;
    }
    m_writer->writeStep("log",
                        {{"severity", severityOf(priority)}, {"message", (logger + ": " + text).utf8()}});
}

void RunRecord::writeMeasurement(const quix5::Measurement& measurement) {
    Json content{{"name", measurement.name.utf8()},
                 {"value", measurement.value},
                 {"unit", measurement.unit.utf8()},
                 {"hardwareInfoId", kHardwareId}};
    if (!measurement.limitName.isEmpty())
        content["validators"] = Json::array({{{"name", measurement.limitName.utf8()},
                                              {"type", "GREATER_THAN_OR_EQUAL"},
                                              {"value", measurement.atLeast}}});
    m_writer->writeStep("measurement", std::move(content));
}

/// What the test itself measured goes before what the drive did while it ran.
void RunRecord::writeRates(const DriveStatistics& statistics) {
    for (const auto& [direction, name] : {std::pair{libDrive2::DriveOperation::read, "readRate"},
                                          std::pair{libDrive2::DriveOperation::write, "writeRate"}}) {
        const auto rate = statistics.totals(direction).megabytesPerSecond();
        if (rate && !m_measured.contains(name))
            m_measured[name] = {name, *rate, "MB/s"};
    }
    for (const auto& [name, measurement] : m_measured)
        writeMeasurement(measurement);
}

void RunRecord::unrestored(const Ranges& ranges, const std::string& journal) {
    Json list = Json::array();
    for (const WatchedJournal::Range& range : ranges)
        list.push_back({{"sector", range.lba}, {"lastSector", range.lba + range.count - 1}});
    writeExtension("unrestored", {{"ranges", std::move(list)}, {"journal", journal}});
}

void RunRecord::end(const RunSummary& summary) {
    const TestResult& result = summary.result;
    const DriveStatistics* const statistics = summary.statistics;
    const Verdict verdict = verdictOf(result);
    m_events.flush();
    if (std::string(verdict.status) == "ERROR" && !m_hasError)
        runError({nullptr, result.name(), std::string("the test ended with ") + result.name(), {}, {}, {}});
    if (statistics != nullptr) {
        writeRates(*statistics);
        SurfaceJson surface = surfaceJson(statistics->surface());
        m_writer->writeStep("extension",
                            objectOf({{"name", "surface"}, {"content", std::move(surface.content)}}),
                            surface.lists);
        writeExtension("regions", regionsJson(statistics->rates(), statistics->sectorBytes()));
        for (Json& part : badSectorsJson(statistics->badSectors()))
            writeExtension("badSectors", std::move(part));
        writeExtension("slowTransfers", slowTransfersJson(statistics->slowTransfers()));
        writeExtension("transfers", transfersJson(*statistics));
        writeExtension("latency", latencyJson(*statistics));
    }
    if (!summary.sharedLinks.empty())
        writeExtension("sharedLinks", sharingJson(summary.sharedLinks));
    if (summary.heat)
        writeExtension("temperature", heatJson(*summary.heat));
    writeExtension("coverage", coverageJson(statistics != nullptr ? statistics->coverage() : Coverage{}));
    writeExtension("result", {{"result", result.name()},
                              {"errors", summary.counts.errors},
                              {"warnings", summary.counts.warnings}});
    if (summary.grade)
        writeExtension("grade", gradeJson(*summary.grade));
    m_writer->writeStep("testStepEnd", {{"status", verdict.status}});
    m_writer->writeRun("testRunEnd", {{"status", verdict.status}, {"result", verdict.result}});
}

ReportState RunRecord::state() {
    return {m_writer->ok(), m_writer->wasGivenUp(), m_writer->path()};
}

}  // namespace drivetest
