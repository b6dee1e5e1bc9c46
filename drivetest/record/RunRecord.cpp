#include "drivetest/record/RunRecord.h"

#include <cmath>
#include <cstdio>
#include <optional>

#include "drivetest/record/StatisticsJson.h"

namespace drivetest {

using quix5::TestResult;

namespace {

constexpr const char* kHardwareId = "drive";
constexpr const char* kSoftwareId = "drivetest";
constexpr std::uint64_t kMostLogLines = 1000;

Json jsonOf(const quix5::Value& value) {
    const zel::ZELValue& held = value.getZELValue();
    std::uint64_t natural = 0;
    double real = 0;
    if (value.type() == quix5::DataType::BOOLEAN)
        return value.valueBool();
    if (held.get(natural))
        return natural;
    if (held.get(real))
        return real;
    return value.valueString().zelString().utf8();
}

Json jsonOf(quix5::SourceLocation where) {
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

/// The text of a device's property; empty when it has none.
std::string propertyText(const quix5::DiagDevice& device, const char* name) {
    const quix5::DeviceProperty* const property = device.property(name);
    return property != nullptr ? property->value().valueString().zelString().utf8() : std::string();
}

Json describeDrive(const quix5::DiagDevice& device) {
    Json drive{{"hardwareInfoId", kHardwareId},
               {"name", device.name().utf8()},
               {"location", device.osLocator().utf8()}};
    for (const auto& [field, property] :
         {std::pair{"serialNumber", "Serial"}, {"revision", "Firmware"}, {"manufacturer", "Vendor"}})
        if (const std::string text = propertyText(device, property); !text.empty())
            drive[field] = text;
    return drive;
}

/// The value of a number's parameter, given or by default; nothing when the test has no such parameter.
std::optional<double> numberGiven(const quix5::Test& test, const char* name) {
    for (const quix5::Parameter* parameter : test.parameters()) {
        double number = 0;
        const auto value = parameter->isset() ? parameter->value() : parameter->defaultValue();
        if (parameter->name() == name && value && value->getZELValue().get(number))
            return number;
    }
    return std::nullopt;
}

/// All that are in force, given or by default.
Json describeParameters(const quix5::Test& test) {
    Json inForce = Json::object();
    for (const quix5::Parameter* parameter : test.parameters())
        if (const auto value = parameter->isset() ? parameter->value() : parameter->defaultValue())
            inForce[parameter->name().utf8()] = jsonOf(*value);
    return inForce;
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

void RunRecord::begin(const quix5::Test& test, const quix5::DiagDevice& device,
                      const std::string& commandLine) {
    m_test = &test;
    m_writer->writeSchemaVersion();
    Json dut{{"dutInfoId", "0"},
             {"name", device.osLocator().utf8()},
             {"softwareInfos", Json::array({{{"softwareInfoId", kSoftwareId},
                                             {"name", "drivetest"},
                                             {"version", DRIVETEST_VERSION},
                                             {"softwareType", "APPLICATION"}}})},
             {"hardwareInfos", Json::array({describeDrive(device)})}};
    m_writer->writeRun("testRunStart", {{"name", "drivetest"},
                                        {"version", DRIVETEST_VERSION},
                                        {"commandLine", zel::String(commandLine).utf8()},
                                        {"parameters", describeParameters(test)},
                                        {"dutInfo", std::move(dut)}});
    m_writer->writeStep("testStepStart", {{"name", test.name().utf8()}});
}

void RunRecord::writeExtension(const char* name, Json content) {
    m_writer->writeStep("extension", {{"name", name}, {"content", std::move(content)}});
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

void RunRecord::addEvent(const quix5::Event& event, quix5::EventType type, const std::string& cause,
                         quix5::SourceLocation where) {
    const bool isWhole = m_events.add(recorded(event, quix5::nameOf(type), cause));
    noteRate(event);
    if (isWhole && type == quix5::EventType::ERR)
        m_writer->writeStep("diagnosis", {{"verdict", event.key().utf8()},
                                          {"type", "FAIL"},
                                          {"message", event.localizedMessage().utf8()},
                                          {"hardwareInfoId", kHardwareId},
                                          {"sourceLocation", jsonOf(where)}});
}

void RunRecord::addRunError(const quix5::Event& event, const std::string& cause,
                            quix5::SourceLocation where) {
    m_events.flush();
    m_events.add(recorded(event, quix5::nameOf(quix5::EventType::ERR), cause));
    m_hasError = true;
    m_writer->writeStep("error", {{"symptom", event.key().utf8()},
                                  {"message", event.localizedMessage().utf8()},
                                  {"softwareInfoIds", Json::array({kSoftwareId})},
                                  {"sourceLocation", jsonOf(where)}});
}

void RunRecord::addProblem(const char* symptom, const std::string& message) {
    m_hasError = true;
    m_writer->writeStep(
        "error",
        {{"symptom", symptom}, {"message", message}, {"softwareInfoIds", Json::array({kSoftwareId})}});
}

void RunRecord::addLog(const zel::String& logger, int priority, const zel::String& text) {
    if (++m_logLines > kMostLogLines + 1)
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

/// A direction's rate: the name of its measurement, the event by which a test states it, the parameter that
/// sets what it must reach.
struct RunRecord::Rate {
    libDrive2::DriveOperation direction;
    const char* name;
    const char* event;
    const char* threshold;
};

void RunRecord::noteRate(const quix5::Event& event) {
    for (const auto& [name, value] : event.variables()) {
        double rate = 0;
        if (name == "speed" &&
            std::sscanf(value.valueString().zelString().utf8().c_str(), "%lf", &rate) == 1 &&
            std::isfinite(rate))
            m_statedRates[event.key()] = rate;
    }
}

/// What the test itself measured goes before what the drive did while it ran.
void RunRecord::writeRate(const DriveStatistics& statistics, const Rate& rate) {
    std::optional<double> value = statistics.totals(rate.direction).megabytesPerSecond();
    const auto stated = m_statedRates.find(rate.event);
    if (stated != m_statedRates.end())
        value = stated->second;
    if (!value)
        return;
    Json measurement{
        {"name", rate.name}, {"value", *value}, {"unit", "MB/s"}, {"hardwareInfoId", kHardwareId}};
    if (const auto least = numberGiven(*m_test, rate.threshold); least)
        measurement["validators"] =
            Json::array({{{"name", rate.threshold}, {"type", "GREATER_THAN_OR_EQUAL"}, {"value", *least}}});
    m_writer->writeStep("measurement", std::move(measurement));
}

void RunRecord::addUnrestored(const std::vector<WatchedJournal::Range>& ranges, const std::string& journal) {
    Json list = Json::array();
    for (const WatchedJournal::Range& range : ranges)
        list.push_back({{"sector", range.lba}, {"lastSector", range.lba + range.count - 1}});
    writeExtension("unrestored", {{"ranges", std::move(list)}, {"journal", journal}});
}

void RunRecord::end(const TestResult& result, const EventCounts& counts, const DriveStatistics* statistics) {
    const Verdict verdict = verdictOf(result);
    m_events.flush();
    if (std::string(verdict.status) == "ERROR" && !m_hasError)
        addProblem(result.name(), std::string("the test ended with ") + result.name());
    if (statistics != nullptr) {
        writeRate(*statistics,
                  {libDrive2::DriveOperation::read, "readRate", "ReadSpeedInfo", "ReadRateThreshold"});
        writeRate(*statistics,
                  {libDrive2::DriveOperation::write, "writeRate", "WriteSpeedInfo", "WriteRateThreshold"});
        writeExtension("surface", surfaceJson(statistics->surface(), statistics->sectorBytes()));
        for (Json& part : badSectorsJson(statistics->badSectors()))
            writeExtension("badSectors", std::move(part));
        writeExtension("slowTransfers", slowTransfersJson(statistics->slowTransfers()));
        writeExtension("latency", latencyJson(statistics->latencies()));
    }
    writeExtension("coverage", coverageJson(statistics != nullptr ? statistics->coverage() : Coverage{}));
    writeExtension("result",
                   {{"result", result.name()}, {"errors", counts.errors}, {"warnings", counts.warnings}});
    m_writer->writeStep("testStepEnd", {{"status", verdict.status}});
    m_writer->writeRun("testRunEnd", {{"status", verdict.status}, {"result", verdict.result}});
}

}  // namespace drivetest
