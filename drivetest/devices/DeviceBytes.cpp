#include "drivetest/devices/DeviceBytes.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <vector>

#include "drivetest/devices/Drives.h"
#include "drivetest/record/Json.h"

namespace drivetest {

namespace {

using quix5::DataType;
using quix5::Value;

Json jsonOf(const Value& value) {
    const auto type = static_cast<unsigned>(value.type());
    std::uint64_t natural = 0;
    double real = 0;
    switch (value.type()) {
        case DataType::BOOLEAN:
            return {type, value.valueBool()};
        case DataType::UINT32:
        case DataType::UINT64:
            value.getZELValue().get(natural);
            return {type, natural};
        case DataType::DOUBLE:
        case DataType::PERCENT:
            value.getZELValue().get(real);
            return {type, real};
        case DataType::STRING:
            break;
    }
    return {type, value.valueString().zelString().utf8()};
}

/// Throws of what has another form.
std::optional<Value> valueOf(const Json& json) {
    const Json& held = json.at(1);
    switch (static_cast<DataType>(json.at(0).get<unsigned>())) {
        case DataType::BOOLEAN:
            return Value::boolean(held.get<bool>());
        case DataType::UINT32:
            return Value(held.get<std::uint32_t>());
        case DataType::UINT64:
            return Value(held.get<std::uint64_t>());
        case DataType::DOUBLE:
            return Value::real(held.get<double>());
        case DataType::PERCENT:
            return Value::percent(held.get<double>());
        case DataType::STRING:
            return Value(zel::String(held.get<std::string>()));
    }
    return std::nullopt;
}

}  // namespace

/// CBOR (RFC 8949) keeps texts as they are, also those that are no UTF-8.
std::string bytesOf(const quix5::DiagDevice& device) {
    Json properties = Json::object();
    for (const auto& [name, property] : device.properties())
        properties[name.utf8()] = jsonOf(property.value());
    const Json json{{"osLocator", device.osLocator().utf8()},
                    {"hwLocator", device.hwLocator().utf8()},
                    {"name", device.name().utf8()},
                    {"capabilities", capabilityNames(device)},
                    {"properties", std::move(properties)}};
    const std::vector<std::uint8_t> bytes = Json::to_cbor(json);
    return {bytes.begin(), bytes.end()};
}

bool readDevice(std::string_view bytes, quix5::DiagDevice& device) {
    const Json json = Json::from_cbor(bytes.begin(), bytes.end(), true, false);
    try {
        device = {};
        device.setLocators(json.at("osLocator").get<std::string>(), json.at("hwLocator").get<std::string>());
        device.setName(json.at("name").get<std::string>());
        device.setCapabilities(capabilitiesOf(json.at("capabilities").get<std::vector<std::string>>()));
        for (const auto& [name, property] : json.at("properties").items())
            if (const auto value = valueOf(property))
                device.setProperty(name, *value);
    } catch (const Json::exception&) {
        return false;
    }
    return true;
}

}  // namespace drivetest
