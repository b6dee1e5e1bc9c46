#include "drivetest/resume/ResumeFolder.h"

#include <algorithm>

#include "drivetest/resume/ResumeFile.h"

namespace drivetest {

BrokenOffRuns brokenOffAmong(const RunChains& chains, const std::set<std::string>& besides) {
    BrokenOffRuns runs;
    runs.sentences = chains.sentences();
    for (const auto& [beginning, chain] : chains.all()) {
        std::string problem;
        if (!chain.verdict.empty() || chain.hasAnyOf(besides))
            continue;
        if (readResumed(chain.record, problem) != nullptr)
            runs.records.push_back(chain.record);
        else if (!chain.hasEnded)  // nobody waits for one that was stopped
            runs.sentences.push_back(problem);
    }
    std::ranges::sort(runs.records);
    return runs;
}

}  // namespace drivetest
