#include "drivetest/shelf/ChildReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

#include "drivetest/record/Json.h"

namespace drivetest {

namespace {

constexpr std::array kStages{"preparing", "testing", "resting", "ending"};

template <class Value>
void put(Json& json, const char* name, const std::optional<Value>& value) {
    if (value)
        json[name] = *value;
}

std::uint64_t numberIn(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found != json.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

std::optional<double> figureIn(const Json& json, const char* name) {
    const auto found = json.find(name);
    if (found == json.end() || !found->is_number())
        return std::nullopt;
    const auto figure = found->get<double>();
    return std::isfinite(figure) ? std::optional(std::max(figure, 0.0)) : std::nullopt;
}

std::string textIn(const Json& json, const char* name) {
    const auto found = json.find(name);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

}  // namespace

std::string ChildReport::toText() const {
    Json json{{"stage", kStages.at(static_cast<std::size_t>(stage))},
              {"share", share},
              {"bytes", bytes},
              {"visited", visited},
              {"errors", errors},
              {"warnings", warnings},
              {"stake", static_cast<unsigned>(stake)}};
    put(json, "rate", rate);
    put(json, "meanRate", meanRate);
    put(json, "left", secondsLeft);
    put(json, "sector", sector);
    put(json, "temperature", temperatureC);
    if (!journal.empty())
        json["journal"] = journal;
    return json.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

std::optional<ChildReport> ChildReport::fromText(std::string_view line) {
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object())
        return std::nullopt;
    const std::string stageName = textIn(json, "stage");
    const auto* const stage = std::ranges::find(kStages, stageName);
    const std::uint64_t stake = numberIn(json, "stake");
    if (stage == kStages.end() || stake > static_cast<std::uint64_t>(AtStake::unprotectedSectors))
        return std::nullopt;
    ChildReport report;
    report.stage = static_cast<RunStage>(stage - kStages.begin());
    report.share = std::min(figureIn(json, "share").value_or(0), 1.0);
    report.bytes = numberIn(json, "bytes");
    report.visited = numberIn(json, "visited");
    report.errors = numberIn(json, "errors");
    report.warnings = numberIn(json, "warnings");
    report.rate = figureIn(json, "rate");
    report.meanRate = figureIn(json, "meanRate");
    report.secondsLeft = figureIn(json, "left");
    report.stake = static_cast<AtStake>(stake);
    report.journal = textIn(json, "journal");
    if (json.contains("sector"))
        report.sector = numberIn(json, "sector");
    if (const auto degrees = json.find("temperature"); degrees != json.end() && degrees->is_number_integer())
        report.temperatureC = degrees->get<std::int64_t>();
    return report;
}

bool ChildReport::isBeyond(const ChildReport& before) const {
    const auto done = [](const ChildReport& report) {
        return std::tuple(report.stage, report.share, report.bytes, report.visited, report.sector,
                          report.errors, report.warnings);
    };
    return done(*this) != done(before);
}

}  // namespace drivetest
