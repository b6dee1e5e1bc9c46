#include "drivetest/resume/ResumeReader.h"

#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "drivetest/record/RecordReader.h"
#include "drivetest/record/RecordedExtensions.h"
#include "drivetest/record/ResumeJson.h"
#include "drivetest/record/StatisticsStateJson.h"
#include "drivetest/resume/ProvenLines.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// Throws a RecordFault where the number does not fit.
template <class Number>
Number recordedNumberOf(const Json& object, const char* name) {
    return static_cast<Number>(recordedCount(object, name, std::numeric_limits<Number>::max()));
}

/// Takes what only a run needs that goes on; the rest is RecordReader's.
class ProgressReader {
public:
    explicit ProgressReader(ResumedRun& resumed) : m_resumed(resumed) {}

    void take(const Json& line) {
        const auto step = line.find("testStepArtifact");
        if (step == line.end())
            return;
        if (const auto extension = step->find("extension"); extension != step->end())
            takeExtension(recordedText(*extension, "name"), extension->at("content"));
        m_resumed.logLines += step->contains("log") ? 1 : 0;
    }

private:
    void takeExtension(const std::string& name, const Json& content) {
        if (name == "event")
            ++m_resumed.events;
        else if (name == "events")
            m_resumed.events += recordedCount(content, "count");
        else if (name == "drive")
            takeDrive(content);
        else if (name == "fingerprint")
            m_resumed.fingerprint = readFingerprint(content);
        else if (name == "progress")
            takeProgress(content);
    }

    void takeDrive(const Json& content) {
        const std::uint64_t sectors = recordedCount(content, "sectors");
        const auto bytes = recordedNumberOf<std::uint32_t>(content, "sectorBytes");
        if (bytes == 0)
            throw faultOf("sectorBytes");
        if (!libDrive2::DriveIdentity::fromText(recordedText(content, "identity"), m_resumed.identity))
            throw faultOf("identity");
        m_resumed.transferSectors = recordedNumberOf<std::uint32_t>(content, "transferSectors");
        if (content.contains("properties"))
            for (const Json& property : content.at("properties"))
                m_resumed.properties.push_back(property.get<std::string>());
        m_resumed.statistics = std::make_unique<DriveStatistics>(sectors, bytes);
    }

    void takeProgress(const Json& content) {
        if (m_resumed.statistics == nullptr || !m_resumed.statistics->restore(readState(content)))
            throw faultOf("progress");
        m_resumed.sectorsDone = recordedCount(content, "sectorsDone");
        // Where a test goes on, and what is known of its sectors, belong together.
        if (m_resumed.sectorsDone != recordedCount(content, "visited"))
            throw faultOf("sectorsDone");
        m_resumed.errorsDone = recordedNumberOf<std::uint32_t>(content, "errorsDone");
        m_resumed.counts = {recordedCount(content, "errors"), recordedCount(content, "warnings")};
        m_resumed.spent =
            zel::Clock::Duration(recordedNumberOf<zel::Clock::Duration::rep>(content, "spentNs"));
        m_resumed.slowMs = recordedNumberOf<unsigned>(content, "slowMs");
        m_resumed.slowAllowed = recordedCount(content, "slowCount");
        m_resumed.maxTemperature = recordedNumberOf<std::uint32_t>(content, "maxTemp");
        if (content.contains("temperature"))
            m_resumed.heat = recordedHeat(content.at("temperature"));
    }

    ResumedRun& m_resumed;
};

/// The lines are proven to be what the program wrote, unless somebody made them by hand.
bool readLines(const std::string& path, ResumedRun& resumed, std::string& problem) {
    RecordReader reader(path);
    ProgressReader progress(resumed);
    const std::string_view lines = resumed.lines;
    std::size_t number = 0;
    for (std::size_t begin = 0, end = 0; (end = lines.find('\n', begin)) != std::string_view::npos;
         begin = end + 1) {
        ++number;
        const std::string_view line = lines.substr(begin, end - begin);
        if (!reader.addLine(line)) {
            problem = reader.problem();
            return false;
        }
        try {
            progress.take(Json::parse(line));
        } catch (const std::exception& fault) {
            problem =
                words("{file}:{line}: {reason}",
                      {{"file", printable(path)}, {"line", number}, {"reason", printable(fault.what())}});
            return false;
        }
    }
    if (!reader.finish({})) {
        problem = reader.problem();
        return false;
    }
    resumed.run = reader.take();
    return true;
}

/// Why the record as a whole cannot be gone on with; empty when it can.
std::string findFault(const ProvenLines& proven, std::string_view text) {
    if (proven.hasVerdict)
        return words("the run came to its end: start a new one");
    if (proven.bytes != 0)
        return {};
    if (proven.hasProgress)
        return words("line {line} of it is damaged, so that nothing behind can be trusted: start a new run",
                     {{"line", proven.damaged}});
    return text.empty()
               ? words("this is no record of a run")
               : words(
                     "no progress was saved in it: the run ended within its first minute, or its test "
                     "cannot go on in the middle; start a new one");
}

/// The version of this program that made the record; empty where that is not told.
std::string versionOf(std::string_view text) {
    const std::size_t first = text.find('\n') + 1;
    const Json line = Json::parse(text.substr(first, text.find('\n', first) - first), nullptr, false);
    const auto version = Json::json_pointer("/testRunArtifact/testRunStart/version");
    const auto name = version.parent_pointer() / "name";
    return line.contains(name) && line[name] == "drivetest" && line.contains(version) &&
                   line[version].is_string()
               ? line[version].get<std::string>()
               : std::string();
}

}  // namespace

std::unique_ptr<ResumedRun> resumedOf(const std::string& path, std::string text, std::string& problem) {
    const auto refuse = [&](const std::string& reason) {
        problem =
            words("{file} cannot be resumed: {reason}", {{"file", printable(path)}, {"reason", reason}});
        return nullptr;
    };
    const ProvenLines proven = findProven(text);
    if (const std::string reason = findFault(proven, text); !reason.empty())
        return refuse(reason);
    auto resumed = std::make_unique<ResumedRun>();
    text.resize(proven.bytes);
    resumed->lines = std::move(text);
    resumed->sha256 = proven.sha256;
    resumed->damaged = proven.damaged;
    // Another one may have other lines, too.
    const std::string version = versionOf(resumed->lines);
    if (!version.empty() && version != DRIVETEST_VERSION)
        return refuse(
            words("version {version} of drivetest made it, and this is {known}: go on with that one, or "
                  "start a new run",
                  {{"version", printable(version)}, {"known", DRIVETEST_VERSION}}));
    if (!readLines(path, *resumed, problem))
        return nullptr;
    return resumed;
}

}  // namespace drivetest
