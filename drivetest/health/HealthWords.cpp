#include "drivetest/health/HealthWords.h"

#include "drivetest/terminal/Texts.h"
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

std::string courseText(const HeatCourse& heat) {
    return words("{lowest} to {highest} °C, {last} °C at the end",
                 {{"lowest", heat.lowest}, {"highest", heat.highest}, {"last", heat.last}});
}

std::string restsText(const HeatCourse& heat) {
    if (heat.rests == 0)
        return {};
    const std::string time = durationText(heat.rested);
    return heat.limit ? zel::counted(heat.rests, "{n} time, {time} in all, above {limit} °C",
                                     "{n} times, {time} in all, above {limit} °C",
                                     {{"time", time}, {"limit", *heat.limit}})
                      : zel::counted(heat.rests, "{n} time, {time} in all", "{n} times, {time} in all",
                                     {{"time", time}});
}

}  // namespace drivetest
