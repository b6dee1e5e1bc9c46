#include <algorithm>
#include <array>
#include <iostream>
#include <limits>
#include <optional>
#include <tuple>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/grade/GradeText.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr std::size_t kGap = 2;

struct Graded {
    std::string record;  ///< the file's name alone
    std::string drive;
    RecordedGrade grade;
};

using Row = std::array<std::string, 4>;

/// Nothing after a sentence in `problem`.
std::vector<Graded> gradeAll(const std::vector<std::string>& records, const Grading& grading,
                             std::string& problem) {
    std::vector<Graded> all;
    for (const std::string& record : records) {
        const auto run = readRecord(record, problem);
        if (!run)
            return {};
        const RecordedDrive& drive = run->drive;
        all.push_back({zel::textOf(zel::pathOf(record).filename()),
                       drive.serial.empty() ? drive.location : drive.model + " " + drive.serial,
                       grading.judge(*run)});
    }
    return all;
}

std::string letterOf(const RecordedGrade& grade) {
    return grade.grade != 0 ? std::string(1, grade.grade) : "-";
}

void printOne(const Graded& graded) {
    std::cout << words("{record}: grade {grade}",
                       {{"record", printable(graded.record)}, {"grade", printable(gradeLine(graded.grade))}})
              << '\n';
    for (const std::string& reason : gradeReasons(graded.grade))
        std::cout << "  " << printable(reason) << '\n';
}

/// Lines that fit on a terminal; elsewhere nothing is cut.
void printTable(const std::vector<Graded>& all) {
    std::vector<Row> rows{{words("grade"), words("record"), words("drive"), words("the worst reason")}};
    for (const Graded& graded : all)
        rows.push_back({letterOf(graded.grade), printable(graded.record), printable(graded.drive),
                        printable(gradeReasons(graded.grade).front())});
    std::array<std::size_t, std::tuple_size_v<Row> - 1> widths{};
    for (const Row& row : rows)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], columnsOf(row[i]) + kGap);
    const std::size_t columns =
        isTerminal(stdout) ? terminalSize(stdout).columns : std::numeric_limits<std::size_t>::max();
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i)
            line += padded(row[i], widths[i]);
        std::cout << shortened(line + row.back(), columns) << '\n';
    }
}

}  // namespace

int gradeRecords(const GradeOptions& options) {
    if (options.printsDefault) {
        std::cout << kGradeFile.substr(0, kGradeFile.find_last_not_of('\n') + 1) << '\n';
        return kExitPass;
    }
    std::string problem;
    if (options.records.empty())
        problem = words("name a record, or give --print-default; {help} tells what the command takes",
                        {{"help", quoted("drivetest grade --help")}});
    std::optional<Grading> grading;
    if (problem.empty())
        grading = Grading::load(options.grading, problem);
    std::vector<Graded> all;
    if (grading)
        all = gradeAll(options.records, *grading, problem);
    if (!problem.empty()) {
        complain(problem);
        return kExitUsage;
    }
    if (all.size() == 1)
        printOne(all.front());
    else
        printTable(all);
    return std::ranges::all_of(all, [](const Graded& graded) { return graded.grade.grade != 0; })
               ? kExitPass
               : kExitCannotRun;
}

}  // namespace drivetest
