#include "drivetest/health/HealthWords.h"

#include "zel/Words.h"

namespace drivetest {

using libDrive2::SelfTestKind;
using libDrive2::SelfTestOutcome;
using zel::words;

std::string kindText(SelfTestKind kind) {
    switch (kind) {
        case SelfTestKind::shortTest:
            return words("short");
        case SelfTestKind::extendedTest:
            return words("extended");
        case SelfTestKind::other:
            break;
    }
    return words("of another kind");
}

std::string outcomeText(SelfTestOutcome outcome) {
    switch (outcome) {
        case SelfTestOutcome::running:
            return words("runs");
        case SelfTestOutcome::passed:
            return words("passed");
        case SelfTestOutcome::aborted:
            return words("aborted");
        case SelfTestOutcome::interrupted:
            return words("interrupted");
        case SelfTestOutcome::failed:
            break;
    }
    return words("failed");
}

}  // namespace drivetest
