#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivetest/record/RecordReader.h"

namespace testing_support {

inline constexpr const char* kVersionLine =
    R"({"schemaVersion":{"major":2,"minor":0},"timestamp":"2026-11-23T04:00:00.000Z"})";
inline constexpr const char* kStartLine =
    R"({"testRunArtifact":{"testRunStart":{"name":"drivetest","version":"0.1.0","commandLine":"drivetest run","parameters":{"MaxErrors":0},"dutInfo":{"name":"/dev/sdb","hardwareInfos":[{"name":"Model","serialNumber":"S1"}]}}},"timestamp":"2026-11-23T04:00:01.000Z"})";
inline constexpr const char* kStepLine =
    R"({"testStepArtifact":{"testStepId":"0","testStepStart":{"name":"LinearReadTest"}},"timestamp":"2026-11-23T04:00:02.000Z"})";
inline constexpr const char* kEndLine =
    R"({"testRunArtifact":{"testRunEnd":{"status":"COMPLETE","result":"PASS"}},"timestamp":"2026-11-23T05:00:02.500Z"})";

/// A line of a step.
inline std::string stepLine(const std::string& artifact) {
    return R"({"testStepArtifact":{"testStepId":"0",)" + artifact +
           R"(},"timestamp":"2026-11-23T04:30:00.000Z"})";
}

inline std::string extensionLine(const std::string& name, const std::string& content) {
    return stepLine(R"("extension":{"name":")" + name + R"(","content":)" + content + "}");
}

/// The line as the one with this number, if it is of a record.
inline std::string numberedLine(const std::string& line, std::size_t number) {
    const std::string stamp = "{\"sequenceNumber\":" + std::to_string(number) + ",";
    return line.starts_with("{\"") && !line.starts_with("{\"sequenceNumber") ? stamp + line.substr(1) : line;
}

/// What the reader makes of a record of these lines, and of what follows the last line break.
inline std::optional<drivetest::RecordedRun> readLines(
    const std::vector<std::string>& lines, std::string& problem, const std::string& rest = {},
    drivetest::RecordDetail detail = drivetest::RecordDetail::all) {
    drivetest::RecordReader reader("out.jsonl", detail);
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (!reader.addLine(numberedLine(lines[i], i))) {
            problem = reader.problem();
            return {};
        }
    if (!reader.finish(rest)) {
        problem = reader.problem();
        return {};
    }
    return reader.take();
}

/// A whole record whose step has these lines.
inline drivetest::RecordedRun readRun(const std::vector<std::string>& stepLines) {
    std::vector<std::string> lines{kVersionLine, kStartLine, kStepLine};
    lines.insert(lines.end(), stepLines.begin(), stepLines.end());
    lines.emplace_back(kEndLine);
    std::string problem;
    auto run = readLines(lines, problem);
    return run ? *std::move(run) : drivetest::RecordedRun{problem};
}

}  // namespace testing_support
