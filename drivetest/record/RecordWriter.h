#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/record/Json.h"
#include "drivetest/record/Sha256.h"
#include "drivetest/run/OutputQueue.h"

namespace drivetest {

/// Writes artifacts of the Open Compute Project test and validation output, version 2.0, as JSON Lines: each
/// one numbered, stamped with the time, and given away at once, to a file by a thread of its own, so that a
/// killed run leaves a readable record.
class RecordWriter {
public:
    /// Takes a line, its end included.
    using Sink = std::function<void(std::string line)>;

    /// Begins the file. `path` is the file's, for messages; "-" for standard output.
    RecordWriter(std::string path, OutputFile file);
    explicit RecordWriter(Sink sink);

    void writeSchemaVersion();
    void writeRun(const char* artifact, Json content);
    /// The texts in `lists` take the places of the strings placeOfList(0), placeOfList(1) ... in the content,
    /// which has no others like them: lists of so many values that each as Json would take many times its
    /// text.
    void writeStep(const char* artifact, Json content, const std::vector<std::string>& lists = {});
    /// An extension that proves all lines up to itself: its content ends with "sha256", the SHA-256 of the
    /// record's bytes up to the line's end, where the digest stands as kNoDigest. A file's outlive a power
    /// cut.
    void writeProof(const char* name, Json content);
    /// Begins with lines of another record, each with its end, and goes on with their numbers.
    void takeOver(const std::string& lines);

    static constexpr std::string_view kNoDigest =
        "0000000000000000000000000000000000000000000000000000000000000000";

    /// Waits until all is written, see OutputQueue::finish(); false when something could not be.
    [[nodiscard]] bool ok() const { return m_queue == nullptr || m_queue->finish(); }
    /// Whether a part is missing only because nobody read it before the program was to end.
    [[nodiscard]] bool wasGivenUp() const { return m_queue != nullptr && m_queue->wasGivenUp(); }
    /// See OutputQueue::failure().
    [[nodiscard]] std::string failure() const { return m_queue != nullptr ? m_queue->failure() : ""; }
    [[nodiscard]] const std::string& path() const { return m_path; }

private:
    void write(Json line);
    std::string stamped(Json line);
    void give(std::string line, bool isDurable);

    std::string m_path;
    std::shared_ptr<OutputQueue> m_queue;  ///< null when the lines go elsewhere
    Sink m_sink;
    Sha256 m_digest;         ///< of all lines
    std::string m_lastTime;  ///< of the lines taken over, which no later one goes back behind
    std::chrono::system_clock::time_point m_start;
    std::chrono::steady_clock::time_point m_steadyStart;
    std::uint64_t m_sequence = 0;
};

}  // namespace drivetest
