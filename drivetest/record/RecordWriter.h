#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>

#include "drivetest/run/OutputFile.h"

namespace drivetest {

using Json = nlohmann::ordered_json;

/// Writes artifacts of the Open Compute Project test and validation output, version 2.0, as JSON Lines: each
/// one numbered, stamped with the time, and flushed, so that a killed run leaves a readable record.
class RecordWriter {
public:
    /// `path` is the file's, for messages; "-" for standard output.
    RecordWriter(std::string path, OutputFile file);

    void writeSchemaVersion();
    void writeRun(const char* artifact, Json content);
    void writeStep(const char* artifact, Json content);

    /// False once something could not be written.
    [[nodiscard]] bool ok() const { return m_ok; }
    [[nodiscard]] const std::string& path() const { return m_path; }

private:
    void write(Json line);

    std::string m_path;
    OutputFile m_file;
    std::chrono::system_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_steadyStart;
    std::uint64_t m_sequence = 0;
    bool m_ok = true;
};

}  // namespace drivetest
