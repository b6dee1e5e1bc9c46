#include "drivetest/shelf/kept/KeptWork.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "drivetest/record/Json.h"
#include "drivetest/shelf/kept/WorkArguments.h"
#include "drivetest/shelf/kept/WorkSeal.h"
#include "drivetest/shelf/kept/WorkWords.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr std::size_t kMostBytes = std::size_t{64} << 20;
constexpr std::uint64_t kMostDrives = 10'000;
constexpr std::size_t kMostRuns = 1000;  ///< of one drive
constexpr std::size_t kLongestText = 4096;

/// What is in a line that no shelf has put there; half a sentence.
struct Foreign : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Foreign foreignValue(const char* name) {
    return Foreign(words("{name} is not as a shelf writes it", {{"name", quoted(name)}}));
}

std::uint64_t numberIn(const Json& object, const char* name, std::uint64_t most) {
    const Json& value = object.at(name);
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most)
        throw foreignValue(name);
    return value.get<std::uint64_t>();
}

std::string textIn(const Json& object, const char* name, std::size_t longest = kLongestText) {
    auto text = object.at(name).get<std::string>();
    if (text.size() > longest)
        throw foreignValue(name);
    return text;
}

template <class Value, std::size_t N>
Value valueIn(const Json& object, const char* name, const std::pair<Value, const char*> (&names)[N]) {
    const auto text = object.at(name).get<std::string>();
    const auto* const found =
        std::ranges::find_if(names, [&text](const auto& each) { return text == each.second; });
    if (found == std::end(names))
        throw foreignValue(name);
    return found->first;
}

/// A status that a run can have.
int statusIn(const Json& object) {
    return static_cast<int>(numberIn(object, "status", std::numeric_limits<std::uint8_t>::max()));
}

/// Of a record that lies beside the file, and nowhere else.
std::string recordIn(const Json& object) {
    std::string name = textIn(object, "record");
    const bool isPlain = std::ranges::none_of(name, [](char c) {
        return c == '/' || c == '\\' || c == ':' || static_cast<unsigned char>(c) < 0x20;
    });
    if (!isPlain || name.starts_with('.') || !name.ends_with(".jsonl"))
        throw foreignValue("record");
    return name;
}

class WorkReader {
public:
    /// What confirms and what is of all drives is no part of a run.
    WorkReader(const std::string& file, const RunOptions& usual) : m_usual(usual) {
        m_work.file = file;
        m_usual.shelf = {};
        m_usual.confirm.clear();
    }

    void take(const Json& line) {
        const std::string& kind = line.begin().key();
        const Json& content = line.begin().value();
        if (!m_isBegun)
            takeHead(kind, content);
        else if (m_work.drives.size() < m_expected)
            takeDrive(kind, content);
        else
            takeEvent(kind, content);
    }

    [[nodiscard]] KeptWork result() {
        if (m_work.drives.size() < m_expected)
            m_work.drives.clear();
        return std::move(m_work);
    }

private:
    void takeHead(const std::string& kind, const Json& content);
    void takeDrive(const std::string& kind, const Json& content);
    void takeEvent(const std::string& kind, const Json& content);
    void takeRuns(const Json& list, DriveWork& work) const;
    KeptRun& runOf(const Json& content);

    RunOptions m_usual;
    KeptWork m_work;
    bool m_isBegun = false;
    std::uint64_t m_expected = 0;  ///< drives
};

void WorkReader::takeHead(const std::string& kind, const Json& content) {
    if (kind != "shelf")
        throw Foreign(words("this is not the work of a shelf"));
    if (numberIn(content, "format", std::numeric_limits<std::uint32_t>::max()) != kWorkFormat)
        throw Foreign(words("version {version} of drivetest made it: go on with that one",
                            {{"version", printable(textIn(content, "version"))}}));
    m_work.commandLine = textIn(content, "commandLine", kMostBytes);
    m_work.jobs = static_cast<unsigned>(numberIn(content, "jobs", kMostJobs));
    if (content.contains("hangSeconds"))
        m_work.hangSeconds = static_cast<std::uint32_t>(
            numberIn(content, "hangSeconds", std::numeric_limits<std::uint32_t>::max()));
    m_expected = numberIn(content, "drives", kMostDrives);
    m_isBegun = true;
}

void WorkReader::takeDrive(const std::string& kind, const Json& content) {
    if (kind != "drive")
        throw foreignValue("drive");
    DriveWork work{textIn(content, "device"), printable(textIn(content, "name"))};
    work.onFailure = valueIn(content, "onFailure", kOnFailureNames);
    work.bytes = static_cast<double>(numberIn(content, "bytes", std::numeric_limits<std::uint64_t>::max()));
    if (const std::string text = textIn(content, "identity", std::size_t{1} << 20); !text.empty()) {
        libDrive2::DriveIdentity identity;
        if (!libDrive2::DriveIdentity::fromText(text, identity))
            throw foreignValue("identity");
        work.identity = std::move(identity);
    }
    work.refusal = printable(textIn(content, "refusal"));
    work.refusedAs = static_cast<ExitStatus>(statusIn(content));
    takeRuns(content.at("runs"), work);
    std::vector<KeptRun> runs(work.runs.size());
    m_work.drives.push_back({std::move(work), std::move(runs)});
}

void WorkReader::takeRuns(const Json& list, DriveWork& work) const {
    if (!list.is_array() || list.size() > kMostRuns)
        throw foreignValue("runs");
    for (const Json& given : list) {
        RunOptions options = m_usual;
        std::string error;
        if (!readKeptArguments(given.get<std::vector<std::string>>(), options, error))
            throw Foreign(error);
        if (options.device != work.device)
            throw foreignValue("device");
        work.runs.push_back(std::move(options));
    }
}

KeptRun& WorkReader::runOf(const Json& content) {
    if (m_work.drives.empty())
        throw foreignValue("drive");
    KeptDrive& drive = m_work.drives[numberIn(content, "drive", m_work.drives.size() - 1)];
    if (drive.runs.empty())
        throw foreignValue("run");
    return drive.runs[numberIn(content, "run", drive.runs.size() - 1)];
}

void WorkReader::takeEvent(const std::string& kind, const Json& content) {
    if (kind == "over")  // for people: what became of each run is known already
        return;
    KeptRun& run = runOf(content);
    if (kind == "started") {
        run.records.push_back(recordIn(content));
        run.outcome.reset();
        return;
    }
    if (kind != "ended" && kind != "leftOut")
        throw Foreign(words("{word} is nothing that a shelf keeps", {{"word", quoted(printable(kind))}}));
    RunOutcome outcome;
    outcome.end = kind == "leftOut" ? RunEnd::leftOut : valueIn(content, "end", kRunEndNames);
    outcome.run = numberIn(content, "run", kMostRuns);
    outcome.status = statusIn(content);
    outcome.test = printable(textIn(content, "test"));
    outcome.words = printable(textIn(content, "words"));
    run.outcome = std::move(outcome);
}

/// Half a sentence on what is wrong with the line; empty when nothing is.
std::string takeLine(WorkReader& reader, const Json& line) {
    try {
        if (line.size() == 1 && line.begin().value().is_object())
            reader.take(line);
        else
            return words("this is not the work of a shelf");
    } catch (const Foreign& foreign) {
        return foreign.what();
    } catch (const Json::exception& fault) {
        return printable(fault.what());
    }
    return {};
}

}  // namespace

std::optional<KeptWork> readKeptWork(const std::string& file, std::string_view text, const RunOptions& usual,
                                     std::string& problem) {
    WorkReader reader(file, usual);
    WorkSeal seal;
    std::size_t number = 0;
    std::size_t begin = 0;
    const auto refuse = [&](const std::string& reason) {
        problem = words("{file}:{line}: {reason}",
                        {{"file", printable(file)}, {"line", number}, {"reason", reason}});
        return std::nullopt;
    };
    for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string_view::npos; begin = end + 1) {
        ++number;
        const auto line = seal.open(text.substr(begin, end - begin));
        // A power cut damages what was written last, and nothing else.
        if (!line && text.find('\n', end + 1) == std::string_view::npos && number > 1)
            break;
        if (!line)
            return refuse(words("the line is damaged, so that nothing behind it can be trusted"));
        if (const std::string reason = takeLine(reader, *line); !reason.empty())
            return refuse(reason);
    }
    KeptWork work = reader.result();
    work.bytes = begin;
    return work;
}

}  // namespace drivetest
