#include "drivetest/record/RunStartJson.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include "drivetest/devices/Drives.h"
#include "drivetest/shelf/links/SharedLink.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

Json describeDrive(const quix5::DiagDevice& device) {
    Json drive{{"hardwareInfoId", kHardwareId},
               {"name", device.name().utf8()},
               {"location", device.osLocator().utf8()}};
    for (const auto& [field, property] : {std::pair{"serialNumber", quix5::kPropertySerial},
                                          {"revision", quix5::kPropertyFirmware},
                                          {"manufacturer", quix5::kPropertyVendor}})
        if (const std::string text = textProperty(device, property); !text.empty())
            drive[field] = text;
    return drive;
}

/// All that are in force, given or by default.
Json describeParameters(const quix5::Test& test) {
    Json inForce = Json::object();
    for (const quix5::Parameter* parameter : test.parameters())
        if (const auto value = parameter->isset() ? parameter->value() : parameter->defaultValue())
            inForce[parameter->name().utf8()] = jsonOf(*value);
    return inForce;
}

}  // namespace

Json jsonOf(const quix5::Value& value) {
    const zel::ZELValue& held = value.getZELValue();
    std::uint64_t natural = 0;
    double real = 0;
    if (value.type() == quix5::DataType::BOOLEAN)
        return value.valueBool();
    if (held.get(natural))
        return natural;
    if (held.get(real))
        return real;
    return value.valueString().zelString().utf8();
}

Json runStartJson(const RunStart& start) {
    Json dut{{"dutInfoId", "0"},
             {"name", start.device.osLocator().utf8()},
             {"softwareInfos", Json::array({{{"softwareInfoId", kSoftwareId},
                                             {"name", "drivetest"},
                                             {"version", DRIVETEST_VERSION},
                                             {"softwareType", "APPLICATION"}}})},
             {"hardwareInfos", Json::array({describeDrive(start.device)})}};
    return {{"name", "drivetest"},
            {"version", DRIVETEST_VERSION},
            {"commandLine", zel::String(start.commandLine).utf8()},
            {"parameters", describeParameters(start.test)},
            {"dutInfo", std::move(dut)}};
}

Json linksJson(const quix5::DiagDevice& device) {
    Json links = Json::array();
    for (const SharedLink& link : linksOf(device.osLocator().utf8())) {
        Json each{{"name", link.name.utf8()}};
        if (link.megabytesPerSecond > 0)
            each["megabytesPerSecond"] = std::llround(link.megabytesPerSecond);
        links.push_back(std::move(each));
    }
    return links;
}

Json driveJson(const DriveAccess& access) {
    Json drive{{"method", access.method}, {"sectors", access.sectors}, {"sectorBytes", access.sectorBytes}};
    if (access.protectionType != 0)
        drive["protectionType"] = access.protectionType;
    if (!access.identity.empty())
        drive["identity"] = zel::String(access.identity).utf8();
    if (access.transferSectors != 0)
        drive["transferSectors"] = access.transferSectors;
    if (!access.properties.empty())
        drive["properties"] = access.properties;
    return drive;
}

}  // namespace drivetest
