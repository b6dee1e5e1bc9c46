#include "drivetest/record/ResumeJson.h"

#include <charconv>
#include <limits>
#include <string>

#include "drivetest/health/HealthJson.h"
#include "drivetest/record/ObjectOf.h"
#include "drivetest/record/RecordedExtensions.h"
#include "drivetest/record/StatisticsStateJson.h"
#include "drivetest/resume/ResumedRun.h"
#include "zel/Format.h"
#include "zel/String.h"

namespace drivetest {

namespace {

/// Not as numbers: readers of JSON that have floating point only would change them.
std::uint64_t checksumOf(const std::string& text) {
    std::uint64_t sum = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), sum, 16);
    if (fault != std::errc() || end != text.data() + text.size())
        throw faultOf("fingerprint");
    return sum;
}

}  // namespace

Json progressJson(const RunProgress& progress) {
    Json json{{"sectorsDone", progress.sectorsDone},
              {"errorsDone", progress.errorsDone},
              {"errors", progress.counts.errors},
              {"warnings", progress.counts.warnings},
              {"spentNs", progress.spent.count()}};
    if (progress.slowMs != 0)
        json.update({{"slowMs", progress.slowMs}, {"slowCount", progress.slowAllowed}});
    if (progress.maxTemperature != 0)
        json["maxTemp"] = progress.maxTemperature;
    if (progress.heat)
        json["temperature"] = heatJson(*progress.heat);
    moveInto(json, stateJson(progress.state));
    return json;
}

Json fingerprintJson(const libDrive2::DriveFingerprint& fingerprint) {
    Json samples = Json::array();
    for (const libDrive2::DriveSample& sample : fingerprint.samples)
        samples.push_back(
            Json::array({sample.lba, sample.count, zel::format("%016I64x", sample.sum).utf8()}));
    return {{"samples", std::move(samples)}};
}

libDrive2::DriveFingerprint readFingerprint(const Json& json) {
    libDrive2::DriveFingerprint fingerprint;
    for (const Json& sample : json.at("samples")) {
        const Json& count = sample.at(1);
        if (!sample.at(0).is_number_unsigned() || !count.is_number_unsigned() || count == 0 ||
            count > std::numeric_limits<std::uint16_t>::max() ||
            fingerprint.samples.size() == libDrive2::DriveFingerprint::kMostSamples)
            throw faultOf("fingerprint");
        fingerprint.samples.push_back({sample.at(0).get<std::uint64_t>(), count.get<std::uint32_t>(),
                                       checksumOf(sample.at(2).get<std::string>())});
    }
    return fingerprint;
}

Json resumedJson(const ResumedRun& resumed, const std::string& commandLine) {
    return {{"file", resumed.run.file},
            {"sha256", resumed.sha256},
            {"at", resumed.sectorsDone},
            {"commandLine", zel::String(commandLine).utf8()}};
}

}  // namespace drivetest
