#include "libDrive2/sim/optical/OpticalOptions.h"

#include <algorithm>
#include <array>
#include <utility>

#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// What tracks, sessions and their gaps need to be told apart.
constexpr std::uint64_t kMinRecordableSectors = 1024;

}  // namespace

bool SimOpticalOptions::parseMedia(const std::string& text) {
    script.clear();
    for (std::size_t start = 0, end = 0; end != std::string::npos; start = end + 1) {
        end = text.find('>', start);
        const std::string name = text.substr(start, end - start);
        script.push_back(findOpticalMedia(name));
        if (script.back() == nullptr && name != "none")
            return false;
    }
    return true;
}

bool SimOpticalOptions::parseState(const std::string& text) {
    using enum OpticalState;
    constexpr std::array<std::pair<std::string_view, OpticalState>, 4> kStates{
        {{"blank", blank}, {"appendable", appendable}, {"closed", closed}, {"unformatted", unformatted}}};
    const auto* const found =
        std::ranges::find(kStates, text, &std::pair<std::string_view, OpticalState>::first);
    if (found == kStates.end())
        return false;
    state = found->second;
    return true;
}

bool SimOpticalOptions::parsePerformance(const std::string& text) {
    performance = text == "nominal";
    writeSpeeds = false;
    return performance || text == "none";
}

bool SimOpticalOptions::hasReadOnlyMedium() const {
    return std::ranges::any_of(script, [](const OpticalMediaType* type) {
        return type != nullptr && type->writing == OpticalWriting::none;
    });
}

std::uint32_t SimOpticalOptions::largestSectors() const {
    std::uint32_t largest = 1;
    for (const OpticalMediaType* type : script)
        largest = std::max(largest, type != nullptr ? type->sectors : 0);
    return largest;
}

std::string SimOpticalOptions::check(bool hasImage, bool sectorsGiven, std::uint64_t sectors) const {
    const auto hasMedium = [this](auto condition) {
        return std::ranges::any_of(script, [condition](const OpticalMediaType* type) {
            return type != nullptr && condition(*type);
        });
    };
    if (hasImage && !hasReadOnlyMedium())
        return zel::words("\"image\" gives the contents of read-only media, of which there is none");
    if (!hasMedium([this](const OpticalMediaType& type) { return type.canBeMade(state); }) &&
        state != OpticalState::usual)
        return zel::words("none of its media can be in this state");
    if (sectorsGiven && sectors < kMinRecordableSectors &&
        hasMedium([](const OpticalMediaType& type) { return type.writing != OpticalWriting::none; }))
        return zel::words("a recordable medium has at least {n} sectors", {{"n", kMinRecordableSectors}});
    return {};
}

}  // namespace libDrive2
