#pragma once

#include <optional>
#include <string>
#include <utility>

namespace drivetest {

struct NumberedName;

/// What one run of a shelf leaves behind: full paths, which nothing had before.
struct RunFiles {
    std::string record{};
    std::string log{};     ///< what it says
    std::string report{};  ///< a page of HTML
};

/// The folder of all that is written of a shelf.
class ShelfFolder {
public:
    /// Makes it; empty is a new one in the folder `parent`, or among the records of runs where that is empty.
    /// Nothing after a sentence in `problem`.
    static std::optional<ShelfFolder> make(const std::string& wanted, const std::string& parent,
                                           std::string& problem);

    [[nodiscard]] const std::string& path() const { return m_path; }
    /// Makes the record, empty, so that nobody else takes the names. Nothing after a sentence in `problem`.
    [[nodiscard]] std::optional<RunFiles> filesFor(const std::string& drive, const std::string& test,
                                                   std::string& problem) const;
    /// The same for a run that goes on with that record: "run-2" behind "run", "run-3" behind "run-2", and
    /// the next number where one is taken.
    [[nodiscard]] std::optional<RunFiles> filesNextTo(const std::string& record, std::string& problem) const;
    /// Of a report that links those of the drives.
    [[nodiscard]] std::string overviewFile() const;

private:
    explicit ShelfFolder(std::string path) : m_path(std::move(path)) {}

    [[nodiscard]] std::optional<RunFiles> filesNamed(const NumberedName& name, std::string& problem) const;

    std::string m_path;
};

}  // namespace drivetest
