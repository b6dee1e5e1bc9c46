#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// A run as one case of JUnit's XML, which tools for continuous integration read.
struct JUnitCase {
    enum class Outcome : std::uint8_t {
        passed,
        failed,   ///< the drive is at fault
        error,    ///< the run is, or what was around it
        skipped,  ///< nothing was to be said of the drive
    };

    std::string test{};
    double seconds = 0;
    Outcome outcome = Outcome::passed;
    std::string type{};                  ///< for tools: the result; of a problem of the run its short name
    std::string message{};               ///< a sentence, where it did not pass
    std::vector<std::string> details{};  ///< what was found, a line each

    static JUnitCase of(const RecordedRun& run);
};

/// The runs of one drive.
struct JUnitSuite {
    std::string drive{};
    std::string startTime{};  ///< of the first one, as records have it; empty where nothing was started
    std::vector<std::pair<std::string, std::string>> properties{};
    std::vector<JUnitCase> cases{};
    std::vector<std::string> output{};  ///< what else is to be said, a line each

    /// Takes the drive of the first run, and what the record says in words.
    void add(const RecordedRun& run);
    [[nodiscard]] std::size_t count(JUnitCase::Outcome outcome) const;
    [[nodiscard]] double seconds() const;
};

/// A whole document.
std::string jUnitText(const std::vector<JUnitSuite>& suites);

}  // namespace drivetest
