#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "drivetest/record/Json.h"
#include "drivetest/record/RecordedRun.h"
#include "drivetest/record/RunLists.h"
#include "drivetest/record/Sha256.h"

namespace drivetest {

/// Reads the record of a run line by line into what is kept of it, whose size does not grow with the number
/// of events. A record whose end is missing is read as far as it goes.
class RecordReader {
public:
    /// `file` is the record's name, for messages.
    explicit RecordReader(std::string file) { m_run.file = std::move(file); }

    /// A line without its end. False when this is no record that can be read; problem() tells why, then.
    [[nodiscard]] bool addLine(std::string_view line);
    /// What follows the last line break, empty for nothing: perhaps a part of a line. And that it was all.
    [[nodiscard]] bool finish(std::string_view rest);

    /// One sentence, which names the file and the line.
    [[nodiscard]] const std::string& problem() const { return m_problem; }
    /// After finish().
    [[nodiscard]] RecordedRun take() { return std::move(m_run); }

private:
    [[nodiscard]] bool refuse(const std::string& why);
    void takeLine(const Json& line);
    void takeVersion(const Json& line) const;
    void takeStart(const Json& line);
    void takeRunArtifact(const Json& artifact);
    void takeStepArtifact(const Json& artifact);
    void takeExtension(const Json& extension);
    void takeStepStart(const Json& start);

    RecordedRun m_run;
    RunLists m_lists;
    std::string m_timeBefore;  ///< of the line before
    std::uint64_t m_line = 0;
    std::string m_problem;
};

/// Reads a file; nothing after a sentence in `problem`. Every byte of it also goes to `digest`, if there is
/// one.
std::optional<RecordedRun> readRecord(const std::string& path, std::string& problem,
                                      Sha256* digest = nullptr);

}  // namespace drivetest
