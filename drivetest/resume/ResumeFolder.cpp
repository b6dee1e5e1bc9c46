#include "drivetest/resume/ResumeFolder.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

#include "drivetest/resume/ProvenLines.h"
#include "drivetest/resume/ResumeFile.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

/// The records of one run: each one that goes on begins as the first did.
struct Chain {
    std::string record{};  ///< that proves most
    std::size_t proven = 0;
    bool hasEnded = false;
    bool hasVerdict = false;
};

bool listRecords(const std::string& folder, std::vector<std::string>& records, std::string& error) {
    std::error_code failed;
    for (std::filesystem::directory_iterator entry(zel::pathOf(folder), failed), end; !failed && entry != end;
         entry.increment(failed))
        if (entry->path().extension() == ".jsonl")
            records.push_back(zel::textOf(entry->path()));
    if (failed)
        error = zel::words("{folder} cannot be read: {reason}",
                           {{"folder", printable(folder)}, {"reason", failed.message()}});
    std::ranges::sort(records);
    return !failed;
}

/// Up to the line that tells when, what and of which drive; no such line is longer.
std::string beginningOf(const std::string& text) {
    constexpr std::size_t kMost = std::size_t{1} << 20;
    const std::size_t first = text.find('\n');
    const std::size_t second = first == std::string::npos ? first : text.find('\n', first + 1);
    return second > kMost ? std::string() : text.substr(0, second);
}

void add(const std::string& record, std::map<std::string, Chain>& chains, BrokenOffRuns& runs) {
    std::string text;
    if (std::string problem; zel::isRegularFile(record) && !readRecordText(record, text, problem))
        runs.sentences.push_back(zel::words("{file} cannot be resumed: {reason}",
                                            {{"file", printable(record)}, {"reason", problem}}));
    const std::string beginning = beginningOf(text);
    // Of what holds no run at all nobody has to hear.
    if (beginning.find("\"testRunStart\"") == std::string::npos)
        return;
    const ProvenLines proven = findProven(text);
    Chain& chain = chains[beginning];
    chain.hasEnded = chain.hasEnded || proven.hasEnded;
    chain.hasVerdict = chain.hasVerdict || proven.hasVerdict;
    if (chain.record.empty() || proven.bytes > chain.proven) {
        chain.record = record;
        chain.proven = proven.bytes;
    }
}

}  // namespace

bool findBrokenOff(const std::string& folder, BrokenOffRuns& runs, std::string& error) {
    std::vector<std::string> records;
    if (!listRecords(folder, records, error))
        return false;
    std::map<std::string, Chain> chains;
    for (const std::string& record : records)
        add(record, chains, runs);
    for (const auto& [beginning, chain] : chains) {
        std::string problem;
        if (chain.hasVerdict)
            continue;
        if (readResumed(chain.record, problem) != nullptr)
            runs.records.push_back(chain.record);
        else if (!chain.hasEnded)  // nobody waits for one that was stopped
            runs.sentences.push_back(problem);
    }
    std::ranges::sort(runs.records);
    return true;
}

}  // namespace drivetest
