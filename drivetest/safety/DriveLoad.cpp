#include "drivetest/safety/DriveLoad.h"

#include <algorithm>
#include <cstdint>
#include <thread>

#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using namespace std::chrono_literals;
using zel::words;

/// Long enough for work that comes in bursts.
constexpr auto kSpan = 2s;
constexpr auto kStep = 50ms;

}  // namespace

std::optional<unsigned> measureLoad(const std::string& device) {
    const auto before = busyTimeOf(device);
    if (!before)
        return std::nullopt;
    // The real time, which simulated drives know nothing of.
    const auto begun = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - begun < kSpan && !quix5::StopRequest::made())
        std::this_thread::sleep_for(kStep);
    const auto after = busyTimeOf(device);
    const auto passed = std::chrono::steady_clock::now() - begun;
    if (!after || *after < *before)
        return std::nullopt;
    const auto percent =
        (*after - *before) * 100 / std::chrono::duration_cast<std::chrono::milliseconds>(passed);
    return static_cast<unsigned>(std::min<std::int64_t>(percent, 100));
}

ExitStatus checkLoad(const std::string& device, unsigned mostPercent, Console& console) {
    if (mostPercent == 0)
        return kExitPass;
    const auto load = measureLoad(device);
    if (!load) {
        console.line(eventLabel(words("note:")) +
                     words("the system does not tell how busy {device} is: it is tested all the same",
                           {{"device", printable(device)}}));
        return kExitPass;
    }
    if (*load <= mostPercent)
        return kExitPass;
    complain(
        words("{device} is busy for {load} % of its time, and --max-load allows {most} %: try again when "
              "it has less to do",
              {{"device", printable(device)}, {"load", *load}, {"most", mostPercent}}));
    return kExitBusy;
}

}  // namespace drivetest
