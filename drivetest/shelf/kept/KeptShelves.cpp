#include "drivetest/shelf/kept/KeptShelves.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "drivetest/record/KeptRecord.h"
#include "drivetest/resume/ResumeFile.h"
#include "drivetest/run/OutputFile.h"
#include "drivetest/shelf/kept/ResumedWork.h"
#include "drivetest/shelf/kept/WorkFile.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

std::vector<std::string> filesOfWork(const std::string& folder) {
    std::vector<std::pair<int, std::string>> files;
    std::error_code failed;
    for (std::filesystem::directory_iterator entry(zel::pathOf(folder), failed), end; !failed && entry != end;
         entry.increment(failed))
        if (isNameOfWork(zel::textOf(entry->path().filename())))
            files.emplace_back(numberedName(zel::textOf(entry->path().stem())).number,
                               zel::textOf(entry->path()));
    std::ranges::sort(files);
    std::vector<std::string> paths;
    paths.reserve(files.size());
    for (const auto& [number, path] : files)
        paths.push_back(path);
    return paths;
}

class Finder {
public:
    Finder(const RunChains& chains, const RunOptions& usual) : m_chains(chains), m_usual(usual) {}

    void add(const std::string& file) {
        std::string text;
        std::string reason;
        if (!readRecordText(file, text, reason)) {
            leave(file, reason);
            return;
        }
        std::string problem;
        auto work = readKeptWork(file, text, m_usual, problem);
        if (!work) {
            m_found.sentences.push_back(problem);
            return;
        }
        for (const KeptDrive& drive : work->drives)
            for (const KeptRun& run : drive.runs)
                takeRecords(run);
        // What never began was started once more, where there is a later one.
        m_neverBegun = work->drives.empty() ? file : "";
        if (isBeingWritten(file)) {
            leave(file, words("its shelf has not ended; wait for it, or stop it"));
            m_neverBegun.clear();
        } else if (auto states = statesOf(*work, m_chains); isAnythingLeft(states)) {
            m_found.left.push_back({*std::move(work), std::move(states)});
        }
    }

    KeptShelves take() {
        if (!m_neverBegun.empty())
            leave(m_neverBegun, words("it broke off before anything was begun: start it once more"));
        return std::move(m_found);
    }

private:
    /// Those, too, by which somebody went on with one of them alone.
    void takeRecords(const KeptRun& run) {
        for (const std::string& name : run.records) {
            m_found.records.insert(name);
            if (const RunChain* const chain = m_chains.of(name); chain != nullptr)
                m_found.records.insert(chain->members.begin(), chain->members.end());
        }
    }

    void leave(const std::string& file, const std::string& reason) {
        m_found.sentences.push_back(
            words("{file} cannot be resumed: {reason}", {{"file", printable(file)}, {"reason", reason}}));
    }

    const RunChains& m_chains;
    const RunOptions& m_usual;
    KeptShelves m_found;
    std::string m_neverBegun;  ///< the last file, where nothing in it was
};

}  // namespace

KeptShelves findKeptShelves(const std::string& folder, const RunChains& chains, const RunOptions& usual) {
    Finder finder(chains, usual);
    for (const std::string& file : filesOfWork(folder))
        finder.add(file);
    return finder.take();
}

}  // namespace drivetest
