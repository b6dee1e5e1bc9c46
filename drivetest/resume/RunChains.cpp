#include "drivetest/resume/RunChains.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "drivetest/resume/ProvenLines.h"
#include "drivetest/resume/ResumeFile.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

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

}  // namespace

bool RunChain::hasAnyOf(const std::set<std::string>& names) const {
    return std::ranges::any_of(members, [&names](const std::string& each) { return names.contains(each); });
}

std::optional<RunChains> RunChains::read(const std::string& folder, std::string& error) {
    std::vector<std::string> records;
    if (!listRecords(folder, records, error))
        return std::nullopt;
    RunChains chains;
    for (const std::string& record : records)
        chains.add(record);
    return chains;
}

const RunChain* RunChains::of(const std::string& name) const {
    const auto found = std::ranges::find_if(
        m_chains, [&name](const auto& chain) { return chain.second.members.contains(name); });
    return found != m_chains.end() ? &found->second : nullptr;
}

void RunChains::add(const std::string& record) {
    std::string text;
    if (std::string problem; zel::isRegularFile(record) && !readRecordText(record, text, problem))
        m_sentences.push_back(zel::words("{file} cannot be resumed: {reason}",
                                         {{"file", printable(record)}, {"reason", problem}}));
    const std::string beginning = beginningOf(text);
    // Of what holds no run at all nobody has to hear.
    if (beginning.find("\"testRunStart\"") == std::string::npos)
        return;
    const ProvenLines proven = findProven(text);
    RunChain& chain = m_chains[beginning];
    chain.members.insert(zel::textOf(zel::pathOf(record).filename()));
    chain.hasEnded = chain.hasEnded || proven.hasEnded;
    if (proven.hasVerdict)
        chain.verdict = record;
    if (chain.record.empty() || proven.bytes > chain.proven) {
        chain.record = record;
        chain.proven = proven.bytes;
    }
}

}  // namespace drivetest
