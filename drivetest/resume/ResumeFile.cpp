#include "drivetest/resume/ResumeFile.h"

#include <cstdint>
#include <fstream>
#include <utility>

#include "drivetest/resume/ResumeReader.h"
#include "drivetest/run/OutputFile.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

namespace {

/// A night with thousands of slow transfers stays far below.
constexpr std::uint64_t kMostBytes = std::uint64_t{256} << 20;

}  // namespace

bool readRecordText(const std::string& path, std::string& text, std::string& problem) {
    problem.clear();
    if (!zel::pathExists(path))
        problem = words("it does not exist");
    // A FIFO would let it wait for ever.
    else if (!zel::isRegularFile(path))
        problem = words("it is no file; name a file");
    if (!problem.empty())
        return false;
    std::ifstream file(zel::pathOf(path), std::ios::binary | std::ios::ate);
    const auto bytes = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (bytes < 0)
        problem = words("it cannot be read");
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

std::unique_ptr<ResumedRun> readResumed(const std::string& path, std::string& problem) {
    std::string text;
    std::string reason;
    if (isBeingWritten(path))
        reason = words("its run has not ended; wait for it, or stop it");
    if (reason.empty() && readRecordText(path, text, reason))
        return resumedOf(path, std::move(text), problem);
    problem = words("{file} cannot be resumed: {reason}", {{"file", printable(path)}, {"reason", reason}});
    return nullptr;
}

}  // namespace drivetest
