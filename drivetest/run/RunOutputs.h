#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/grade/RunGrader.h"
#include "drivetest/report/OutputFormats.h"
#include "drivetest/report/RunReporters.h"
#include "drivetest/safety/TakenDrive.h"
#include "drivetest/terminal/Console.h"

namespace drivetest {

/// The files that a run is told in, and all who tell of it.
class RunOutputs {
public:
    /// Once nothing refuses the run any more: what the files held is gone. A record that nobody named a file
    /// for goes to the folder for records. Null after a sentence in `error`.
    static std::unique_ptr<RunOutputs> open(const RunOptions& options, const TakenDrive& drive,
                                            std::optional<Grading> grading, Console& console,
                                            std::string& error);

    RunReporters& reporters() { return m_reporters; }
    /// The file that lists all bad sectors, or "the record"; empty for none.
    [[nodiscard]] std::string badSectorsList() const;
    /// Before the end is reported; nothing where no grade was asked for. Once.
    [[nodiscard]] std::optional<RecordedGrade> grade(const RunSummary& summary) const {
        return m_grader != nullptr ? m_grader->grade(summary) : std::nullopt;
    }
    /// After the end was reported: waits for what is still to be written. The exit status, worse than
    /// `status` when the record has a hole.
    int close(int status, Console& console) const;

private:
    struct Output {
        const OutputFormat* format;
        std::string path;
        OutputFile file;
    };
    bool openNamed(const RunOptions& options, std::string& error);
    void keepRecord(const RunOptions& options, const ChosenTest& chosen, Console& console);
    [[nodiscard]] std::string findClash(const Output& output) const;

    std::vector<Output> m_outputs;
    RunReporters m_reporters;
    RunGrader* m_grader = nullptr;  ///< one of them
};

}  // namespace drivetest
