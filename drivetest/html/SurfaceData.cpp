#include "drivetest/html/SurfaceData.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "drivetest/findings/RegionRates.h"

namespace drivetest {

namespace {

using Json = Json;
using Bytes = std::vector<std::uint8_t>;

/// Rates of neighbours are nearly equal; further apart than this nobody can point at them.
constexpr std::size_t kMostRates = 65536;

/// Code 0 is nothing measured, code 1 is `least`, and each further one so much more that `perOctave` double
/// it.
struct Scale {
    double least;
    int perOctave;
};
constexpr Scale kMicroseconds{0.1, 8};
constexpr Scale kMegabytesPerSecond{0.01, 10};

std::uint8_t codeOf(double value, const Scale& scale) {
    if (value <= 0)
        return 0;
    const double steps = 1 + std::round(scale.perOctave * std::log2(value / scale.least));
    return static_cast<std::uint8_t>(std::clamp(steps, 1.0, 255.0));
}

/// RFC 4648.
std::string base64(const Bytes& bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t rest = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j)
            group = group << 8 | (j < rest ? bytes[i + j] : 0U);
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += digit <= rest ? kDigits[group >> (18 - 6 * digit) & 63U] : '=';
    }
    return text;
}

void appendNumber(Bytes& bytes, std::size_t number) {
    for (; number >= 128; number /= 128)
        bytes.push_back(static_cast<std::uint8_t>(number % 128 + 128));
    bytes.push_back(static_cast<std::uint8_t>(number));
}

/// For each run its value, and its length in digits of seven bits, the least first.
Bytes runsOf(const Bytes& values) {
    Bytes runs;
    for (auto first = values.begin(); first != values.end();) {
        const auto end =
            std::find_if(first, values.end(), [first](std::uint8_t each) { return each != *first; });
        runs.push_back(*first);
        appendNumber(runs, static_cast<std::size_t>(end - first));
        first = end;
    }
    return runs;
}

Json coded(const Bytes& values) {
    const Bytes runs = runsOf(values);
    const bool isShorter = runs.size() < values.size();
    return {{"coding", isShorter ? "runs" : "bytes"}, {"data", base64(isShorter ? runs : values)}};
}

Json scaled(const std::vector<float>& values, const Scale& scale) {
    Bytes codes(values.size());
    std::transform(values.begin(), values.end(), codes.begin(),
                   [&scale](float value) { return codeOf(value, scale); });
    Json list = coded(codes);
    list["least"] = scale.least;
    list["perOctave"] = scale.perOctave;
    return list;
}

/// Of the first direction in which anything was moved.
Json ratesData(const RecordedRun& run) {
    const RegionRates rates = RegionRates::of(run, kMostRates);
    std::vector<float> means;
    if (!rates.directions.empty())
        for (const RecordedMoved& moved : rates.directions.front().regions)
            means.push_back(static_cast<float>(moved.megabytesPerSecond()));
    Json data = scaled(means, kMegabytesPerSecond);
    data["count"] = means.size();
    data["sectorsPerValue"] = std::max<std::uint64_t>(1, rates.sectorsPerRegion);
    return data;
}

}  // namespace

Json surfaceData(const RecordedRun& run) {
    if (!run.surface)
        return {};
    const RecordedSurface& surface = *run.surface;
    Bytes outcomes(surface.cells());
    std::transform(surface.outcomes.begin(), surface.outcomes.end(), outcomes.begin(),
                   [](CellOutcome outcome) { return static_cast<std::uint8_t>(outcome); });
    return {{"cells", surface.cells()},
            {"sectorsPerCell", surface.sectorsPerCell},
            {"outcomes", coded(outcomes)},
            {"slowest", scaled(surface.slowestUs, kMicroseconds)},
            {"rates", ratesData(run)}};
}

}  // namespace drivetest
