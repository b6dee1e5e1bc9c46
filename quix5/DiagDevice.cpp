#include "quix5/DiagDevice.h"

namespace quix5 {

const DeviceProperty* DiagDevice::property(const zel::String& name) const {
    const auto entry = m_properties.find(name);
    return entry != m_properties.end() ? &entry->second : nullptr;
}

void DiagDevice::setLocators(zel::String osLocator, zel::String hwLocator) {
    m_osLocator = std::move(osLocator);
    m_hwLocator = std::move(hwLocator);
}

void DiagDevice::setProperty(const zel::String& name, const Value& value) {
    m_properties.insert_or_assign(name, DeviceProperty(value));
}

}  // namespace quix5
