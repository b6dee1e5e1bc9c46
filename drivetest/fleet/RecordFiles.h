#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace drivetest {

/// Files that are left out, each with a sentence; of very many only how many there are beside these.
class LeftOut {
public:
    void add(std::string sentence);

    [[nodiscard]] std::size_t count() const { return m_count; }
    [[nodiscard]] const std::vector<std::string>& sentences() const { return m_sentences; }

private:
    std::size_t m_count = 0;
    std::vector<std::string> m_sentences;
};

/// Says each, and how many more there are, to standard error.
void complainOf(const LeftOut& leftOut);

/// The records among these paths: files as they are, and of folders all files "*.jsonl" in them, however
/// deep, in the order of their names. Links to folders are not followed, and nothing is opened that is no
/// file. False after a sentence in `problem` when one of the paths leads to nothing, or a folder cannot be
/// read.
[[nodiscard]] bool findRecords(const std::vector<std::string>& paths, std::vector<std::string>& records,
                               LeftOut& leftOut, std::string& problem);

}  // namespace drivetest
