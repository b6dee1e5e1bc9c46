#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace drivetest {

/// The records of one run: each one that goes on begins as the first did.
struct RunChain {
    std::string record{};  ///< path of the one that proves most
    std::size_t proven = 0;
    bool hasEnded = false;
    std::string verdict{};            ///< path of one that came to a verdict; empty for none
    std::set<std::string> members{};  ///< names of all

    [[nodiscard]] bool hasAnyOf(const std::set<std::string>& names) const;
};

/// The runs of a folder, as all its files "*.jsonl" tell of them.
class RunChains {
public:
    /// Nothing after a sentence in `error` when the folder cannot be read.
    static std::optional<RunChains> read(const std::string& folder, std::string& error);

    [[nodiscard]] const std::map<std::string, RunChain>& all() const { return m_chains; }
    /// Of the record of that name; null for none.
    [[nodiscard]] const RunChain* of(const std::string& name) const;
    /// On files that could not be read.
    [[nodiscard]] const std::vector<std::string>& sentences() const { return m_sentences; }

private:
    void add(const std::string& record);

    std::map<std::string, RunChain> m_chains;  ///< by how they begin
    std::vector<std::string> m_sentences;
};

}  // namespace drivetest
