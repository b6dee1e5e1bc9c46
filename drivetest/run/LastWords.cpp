#include "drivetest/run/LastWords.h"

#include <array>
#include <atomic>
#include <string>

#include "zel/Words.h"

namespace drivetest {

namespace {

/// In the order of AtStake.
constexpr std::array kSentences = {
    zel::marked("ended at once"),
    zel::marked("ended at once: sectors may hold what the test wrote; the journal keeps their data, and "
                "\"drivetest recover\" puts it back"),
    zel::marked("ended at once: sectors may hold what the test wrote, and no journal keeps their data"),
};

using Lines = std::array<std::string, kSentences.size()>;
static_assert(std::atomic<const Lines*>::is_always_lock_free);

template <class Translate>
const Lines* linesOf(Translate translate) {
    auto* const lines = new Lines;  // a signal may come until the very end
    for (std::size_t i = 0; i < kSentences.size(); ++i)
        lines->at(i) = "\ndrivetest: " + translate(kSentences.at(i)) + "\n";
    return lines;
}

std::atomic<const Lines*> lines{linesOf([](const char* english) { return std::string(english); })};

}  // namespace

void translateLastWords() {
    lines = linesOf([](const char* english) { return zel::words(english); });
}

LastWords lastWordsOf(AtStake stake) {
    return {(*lines.load())[static_cast<std::size_t>(stake)],
            stake == AtStake::nothing ? kExitUserAborted : kExitNotRestored};
}

}  // namespace drivetest
