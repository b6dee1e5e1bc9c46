#include "drivetest/record/RecordReader.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "drivetest/record/RecordedExtensions.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

constexpr std::uint64_t kMajor = 2;
constexpr std::uint64_t kMinor = 0;
/// The longest line of a record, its surface, is shorter.
constexpr std::size_t kLongestLine = std::size_t{96} << 20;
/// More often nobody goes on.
constexpr std::size_t kMostPauses = 1000;
constexpr std::size_t kBlock = std::size_t{256} << 10;

std::string textOf(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void takeMeasurement(const Json& content, RecordedRun& run) {
    if (const auto value = content.find("value"); value == content.end() || !value->is_number())
        return;
    RecordedMeasurement measurement{recordedText(content, "name"),
                                    recordedNumber(content, "value"),
                                    recordedText(content, "unit"),
                                    {},
                                    {}};
    if (const auto validators = content.find("validators");
        validators != content.end() && validators->is_array() && !validators->empty()) {
        measurement.limitName = recordedText(validators->front(), "name");
        measurement.atLeast = recordedNumber(validators->front(), "value");
    }
    run.measurements.push_back(std::move(measurement));
}

void takeDut(const Json& dut, RecordedRun& run) {
    run.drive.location = recordedText(dut, "name");
    if (const auto hardware = dut.find("hardwareInfos");
        hardware != dut.end() && hardware->is_array() && !hardware->empty()) {
        const Json& drive = hardware->front();
        run.drive.model = recordedText(drive, "name");
        run.drive.manufacturer = recordedText(drive, "manufacturer");
        run.drive.serial = recordedText(drive, "serialNumber");
        run.drive.firmware = recordedText(drive, "revision");
    }
}

/// Gives all that can be read to the reader, whole lines; false when it takes no more.
bool feed(std::istream& file, RecordReader& reader, std::string& open, Sha256* digest) {
    std::vector<char> block(kBlock);
    while (file.read(block.data(), static_cast<std::streamsize>(block.size())), file.gcount() > 0) {
        std::string_view text(block.data(), static_cast<std::size_t>(file.gcount()));
        if (digest != nullptr)
            digest->add(text);
        for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
            open += text.substr(0, end);
            text.remove_prefix(end + 1);
            if (!reader.addLine(open))
                return false;
            open.clear();
        }
        open += text;
        if (open.size() > kLongestLine && !reader.addLine(open))
            return false;
    }
    return true;
}

}  // namespace

bool RecordReader::refuse(const std::string& why) {
    m_problem = zel::words("{file}:{line}: {reason}",
                           {{"file", printable(m_run.file)}, {"line", m_line}, {"reason", printable(why)}});
    return false;
}

bool RecordReader::addLine(std::string_view line) {
    ++m_line;
    m_lists.clear();
    if (line.size() > kLongestLine)
        return refuse(zel::words("this line is longer than any of a record"));
    try {
        takeLine(Json::parse(line, m_lists.callback()));
        return true;
    } catch (const Json::parse_error&) {
        return refuse(m_line == 1 ? zel::words("this is no record of a run")
                                  : zel::words("this line of the record is damaged"));
    } catch (const RecordFault& fault) {
        return refuse(fault.what());
    } catch (const Json::exception&) {
        return refuse(zel::words("this line of the record is damaged"));
    }
}

bool RecordReader::finish(std::string_view rest) {
    // The line that was being written when the run was ended from outside.
    if (!rest.empty() && Json::accept(rest) && !addLine(rest))
        return false;
    if (m_line < 2) {
        ++m_line;
        return refuse(m_line == 1 ? zel::words("this is no record of a run")
                                  : zel::words("the record ends before it tells of a run"));
    }
    std::sort(m_run.bad.begin(), m_run.bad.end(),
              [](const RecordedBad& a, const RecordedBad& b) { return a.first < b.first; });
    return true;
}

void RecordReader::takeLine(const Json& line) {
    if (m_line == 1)
        return takeVersion(line);
    if (!line.is_object())
        throw RecordFault(zel::words("this line of the record is damaged"));
    if (recordedCount(line, "sequenceNumber") != m_line - 1)
        throw RecordFault(zel::words("lines of the record are missing here, or in the wrong order"));
    m_timeBefore = std::exchange(m_run.lastTime, recordedText(line, "timestamp"));
    if (m_line == 2)
        return takeStart(line);
    if (const auto run = line.find("testRunArtifact"); run != line.end())
        takeRunArtifact(*run);
    else if (const auto step = line.find("testStepArtifact"); step != line.end())
        takeStepArtifact(*step);
}

void RecordReader::takeVersion(const Json& line) const {
    if (!line.is_object() || !line.contains("schemaVersion"))
        throw RecordFault(zel::words("this is no record of a run"));
    const Json& version = line.at("schemaVersion");
    const std::uint64_t major = recordedCount(version, "major");
    const std::uint64_t minor = recordedCount(version, "minor");
    if (major > kMajor || (major == kMajor && minor > kMinor))
        throw RecordFault(zel::words(
            "the record is of version {version}, which is newer than this program reads ({known}): "
            "use a newer one",
            {{"version", std::to_string(major) + "." + std::to_string(minor)},
             {"known", std::to_string(kMajor) + "." + std::to_string(kMinor)}}));
    if (major != kMajor)
        throw RecordFault(zel::words("this is no record of a run"));
}

void RecordReader::takeStart(const Json& line) {
    if (!line.contains("testRunArtifact") || !line.at("testRunArtifact").contains("testRunStart"))
        throw RecordFault(zel::words("here a record tells of the start of its run, and this one does not"));
    const Json& start = line.at("testRunArtifact").at("testRunStart");
    m_run.program = recordedText(start, "name");
    m_run.programVersion = recordedText(start, "version");
    m_run.commandLine = recordedText(start, "commandLine");
    m_run.startTime = m_run.lastTime;
    if (m_run.program != "drivetest")
        throw RecordFault(
            zel::words("this is a record of {program}, not of drivetest", {{"program", m_run.program}}));
    for (const auto& [name, value] : start.at("parameters").items())
        m_run.parameters.emplace_back(name, textOf(value));
    takeDut(start.at("dutInfo"), m_run);
}

void RecordReader::takeRunArtifact(const Json& artifact) {
    if (artifact.contains("testRunEnd"))
        m_run.isCutOff = false;
    if (const auto error = artifact.find("error"); error != artifact.end())
        m_run.problems.push_back({recordedText(*error, "symptom"), recordedText(*error, "message")});
}

void RecordReader::takeStepArtifact(const Json& artifact) {
    if (const auto extension = artifact.find("extension"); extension != artifact.end())
        takeExtension(*extension);
    else if (const auto start = artifact.find("testStepStart"); start != artifact.end())
        takeStepStart(*start);
    else if (const auto measurement = artifact.find("measurement"); measurement != artifact.end())
        takeMeasurement(*measurement, m_run);
    else if (const auto error = artifact.find("error"); error != artifact.end())
        m_run.problems.push_back({recordedText(*error, "symptom"), recordedText(*error, "message")});
}

void RecordReader::takeExtension(const Json& extension) {
    const std::string name = recordedText(extension, "name");
    drivetest::takeExtension(name, extension.at("content"), m_lists, m_run);
    if (name == "resumed" && m_run.pauses.size() < kMostPauses)
        m_run.pauses.emplace_back(m_timeBefore, m_run.lastTime);
}

void RecordReader::takeStepStart(const Json& start) {
    // Results of several would take each other's place.
    if (!m_run.test.empty())
        throw RecordFault(zel::words("here a second test begins, and a record is of one"));
    m_run.test = recordedText(start, "name");
}

std::optional<RecordedRun> readRecord(const std::string& path, std::string& problem, Sha256* digest) {
    std::ifstream file(zel::pathOf(path), std::ios::binary);
    RecordReader reader(path);
    std::string open;  // a line whose end was not seen yet
    if (!feed(file, reader, open, digest) || (file.eof() && !reader.finish(open))) {
        problem = reader.problem();
        return {};
    }
    if (!file.eof()) {
        problem = zel::pathExists(path) ? zel::words("{file} cannot be read", {{"file", printable(path)}})
                                        : zel::words("{file} does not exist", {{"file", printable(path)}});
        return {};
    }
    return reader.take();
}

}  // namespace drivetest
