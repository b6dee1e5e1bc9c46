#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "drivetest/record/Json.h"
#include "drivetest/run/OutputFile.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/ShelfWork.h"
#include "drivetest/shelf/kept/WorkSeal.h"

namespace drivetest {

struct KeptWork;

/// The file that says what a shelf is to do and what became of it, so that another one can go on with it.
/// Each line outlives a power cut before what it tells of begins. Where a line cannot be written, it is tried
/// again with the next one. Nobody else writes to it meanwhile.
class WorkFile {
public:
    /// Makes "shelf.work", or "shelf-2.work" and so on, in the folder. Null after a sentence in `problem`.
    static std::shared_ptr<WorkFile> make(const std::string& folder, const ShelfWork& work,
                                          std::string& problem);
    /// To go on with what was read from it. Null after a sentence in `problem`: among others, when somebody
    /// else has gone on with it since.
    static std::shared_ptr<WorkFile> goOn(const KeptWork& work, std::string& problem);

    /// Of runs and drives by their places in the work. `record` is a path.
    void started(std::size_t drive, std::size_t run, const std::string& record);
    void ended(std::size_t drive, const RunOutcome& outcome);
    void over(int status);

    /// Why something is missing in it, a sentence; empty while nothing is.
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    WorkFile(std::string path, OutputFile file) : m_path(std::move(path)), m_file(std::move(file)) {}
    void add(const Json& line);
    bool write();

    std::string m_path;
    OutputFile m_file;
    WorkSeal m_seal;
    std::uint64_t m_bytes = 0;  ///< of what is written
    std::string m_waiting;      ///< lines that are not yet
    std::string m_problem;
};

/// Whether the name is one of those that make() gives.
bool isNameOfWork(std::string_view name);

}  // namespace drivetest
