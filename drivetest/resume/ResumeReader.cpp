#include "drivetest/resume/ResumeReader.h"

#include <fstream>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "drivetest/record/RecordReader.h"
#include "drivetest/record/RecordedExtensions.h"
#include "drivetest/record/ResumeJson.h"
#include "drivetest/record/StatisticsStateJson.h"
#include "drivetest/resume/ProvenLines.h"
#include "drivetest/run/OutputFile.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// A night with thousands of slow transfers stays far below.
constexpr std::uint64_t kMostBytes = std::uint64_t{256} << 20;

bool readAll(const std::string& path, std::string& text, std::string& problem) {
    std::ifstream file(zel::pathOf(path), std::ios::binary | std::ios::ate);
    const auto bytes = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (bytes < 0)
        problem = zel::pathExists(path) ? words("it cannot be read") : words("it does not exist");
    else if (static_cast<std::uint64_t>(bytes) > kMostBytes)
        problem = words("it is longer than any record of a run");
    if (!problem.empty())
        return false;
    text.resize(static_cast<std::size_t>(bytes));
    file.seekg(0);
    if (!file.read(text.data(), bytes))
        problem = words("it cannot be read");
    return problem.empty();
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
        const std::uint64_t bytes = recordedCount(content, "sectorBytes");
        if (bytes == 0 || bytes > std::numeric_limits<std::uint32_t>::max())
            throw faultOf("drive");
        if (!libDrive2::DriveIdentity::fromText(recordedText(content, "identity"), m_resumed.identity))
            throw faultOf("identity");
        m_resumed.transferSectors = static_cast<std::uint32_t>(recordedCount(content, "transferSectors"));
        if (content.contains("properties"))
            for (const Json& property : content.at("properties"))
                m_resumed.properties.push_back(property.get<std::string>());
        m_resumed.statistics = std::make_unique<DriveStatistics>(sectors, static_cast<std::uint32_t>(bytes));
    }

    void takeProgress(const Json& content) {
        if (m_resumed.statistics == nullptr || !m_resumed.statistics->restore(readState(content)))
            throw faultOf("progress");
        m_resumed.sectorsDone = recordedCount(content, "sectorsDone");
        m_resumed.errorsDone = static_cast<std::uint32_t>(recordedCount(content, "errorsDone"));
        m_resumed.counts = {recordedCount(content, "errors"), recordedCount(content, "warnings")};
        m_resumed.spent =
            zel::Clock::Duration(static_cast<zel::Clock::Duration::rep>(recordedCount(content, "spentNs")));
        m_resumed.slowMs = static_cast<unsigned>(recordedCount(content, "slowMs"));
        m_resumed.slowAllowed = recordedCount(content, "slowCount");
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
    if (proven.hasEnded)
        return words("the run came to its end: start a new one");
    if (proven.bytes != 0)
        return {};
    if (proven.hasProgress)
        return words("line {line} of it is damaged, so that nothing behind can be trusted: start a new run",
                     {{"line", proven.damaged}});
    std::string problem;
    return text.empty()
               ? words("this is no record of a run")
               : words(
                     "no progress was saved in it: the run ended within its first minute, or its test "
                     "cannot go on in the middle; start a new one");
}

}  // namespace

std::unique_ptr<ResumedRun> readResumed(const std::string& path, std::string& problem) {
    const auto refuse = [&](const std::string& reason) {
        problem =
            words("{file} cannot be resumed: {reason}", {{"file", printable(path)}, {"reason", reason}});
        return nullptr;
    };
    std::string text;
    std::string reason;
    if (isBeingWritten(path))
        return refuse(words("its run has not ended; wait for it, or stop it"));
    if (!readAll(path, text, reason))
        return refuse(reason);
    const ProvenLines proven = findProven(text);
    if (reason = findFault(proven, text); !reason.empty())
        return refuse(reason);
    auto resumed = std::make_unique<ResumedRun>();
    text.resize(proven.bytes);
    resumed->lines = std::move(text);
    resumed->sha256 = proven.sha256;
    resumed->damaged = proven.damaged;
    if (!readLines(path, *resumed, problem))
        return nullptr;
    if (resumed->run.programVersion != DRIVETEST_VERSION)
        return refuse(
            words("version {version} of drivetest made it, and this is {known}: go on with that one, or "
                  "start a new run",
                  {{"version", resumed->run.programVersion}, {"known", DRIVETEST_VERSION}}));
    return resumed;
}

}  // namespace drivetest
