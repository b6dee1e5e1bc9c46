#pragma once

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "zel/Clock.h"

namespace drivetest {

using Json = nlohmann::ordered_json;

/// Writes artifacts of the Open Compute Project test and validation output, version 2.0, as JSON Lines: each
/// one numbered, stamped with the time, and flushed, so that a killed run leaves a readable record.
class RecordWriter {
public:
    /// "-" is standard output. Null when the file cannot be written; `error` then says why.
    static std::unique_ptr<RecordWriter> open(const std::string& path, std::string& error);

    void writeSchemaVersion();
    void writeRun(const char* artifact, Json content);
    void writeStep(const char* artifact, Json content);

    /// False once something could not be written.
    [[nodiscard]] bool ok() const { return m_ok; }
    [[nodiscard]] const std::string& path() const { return m_path; }

private:
    struct Close {
        void operator()(std::FILE* file) const;
    };

    RecordWriter(std::string path, std::unique_ptr<std::FILE, Close> file);
    void write(Json line);

    std::string m_path;
    std::unique_ptr<std::FILE, Close> m_file;
    std::chrono::system_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_steadyStart;
    std::uint64_t m_sequence = 0;
    bool m_ok = true;
};

}  // namespace drivetest
