#pragma once

#include <cstdint>
#include <map>

#include "quix5/Value.h"
#include "zel/Export.h"

namespace quix5 {

/// A set of capabilities of a device.
class DRIVETEST_API DeviceCapability {
public:
    constexpr DeviceCapability() = default;

    static const DeviceCapability ATA, SCSISBC, SCSIMMC, USB_UFI, FloppyDrive, CDROM, HardDrive,
        USBMassStorage, MMCSDFlash, RemovableStorage, NVME;

    /// Whether this set holds every capability of the other.
    [[nodiscard]] constexpr bool isCapable(DeviceCapability other) const {
        return (m_bits & other.m_bits) == other.m_bits;
    }
    [[nodiscard]] constexpr DeviceCapability operator|(DeviceCapability other) const {
        return DeviceCapability(m_bits | other.m_bits);
    }
    constexpr bool operator==(const DeviceCapability&) const = default;

private:
    explicit constexpr DeviceCapability(std::uint32_t bits) : m_bits(bits) {}

    std::uint32_t m_bits = 0;
};

inline constexpr DeviceCapability DeviceCapability::ATA{1U << 0};
inline constexpr DeviceCapability DeviceCapability::SCSISBC{1U << 1};
inline constexpr DeviceCapability DeviceCapability::SCSIMMC{1U << 2};
inline constexpr DeviceCapability DeviceCapability::USB_UFI{1U << 3};
inline constexpr DeviceCapability DeviceCapability::FloppyDrive{1U << 4};
inline constexpr DeviceCapability DeviceCapability::CDROM{1U << 5};
inline constexpr DeviceCapability DeviceCapability::HardDrive{1U << 6};
inline constexpr DeviceCapability DeviceCapability::USBMassStorage{1U << 7};
inline constexpr DeviceCapability DeviceCapability::MMCSDFlash{1U << 8};
inline constexpr DeviceCapability DeviceCapability::RemovableStorage{1U << 9};
inline constexpr DeviceCapability DeviceCapability::NVME{1U << 10};

/// A named property of a device.
class DeviceProperty {
public:
    explicit DeviceProperty(Value value) : m_value(std::move(value)) {}

    [[nodiscard]] DataType type() const { return m_value.type(); }
    [[nodiscard]] const Value& value() const { return m_value; }

private:
    Value m_value;
};

/// What the framework knows of a device without opening it.
class DRIVETEST_API DiagDevice {
public:
    /// The operating system's path of the device ("/dev/sdb"), an image file's path or "sim:…".
    [[nodiscard]] const zel::String& osLocator() const { return m_osLocator; }
    /// Where the device sits (a bus address); may be empty.
    [[nodiscard]] const zel::String& hwLocator() const { return m_hwLocator; }
    /// A name for people, such as the model.
    [[nodiscard]] const zel::String& name() const { return m_name; }
    /// Null when the device has no such property; owned by the device.
    [[nodiscard]] const DeviceProperty* property(const zel::String& name) const;
    [[nodiscard]] DeviceCapability deviceCapabilities() const { return m_capabilities; }
    [[nodiscard]] bool hasCapability(DeviceCapability capability) const {
        return m_capabilities.isCapable(capability);
    }

    /// For the framework, which fills devices in.
    void setLocators(zel::String osLocator, zel::String hwLocator);
    void setName(zel::String name) { m_name = std::move(name); }
    void setProperty(const zel::String& name, const Value& value);
    void removeProperty(const zel::String& name) { m_properties.erase(name); }
    void setCapabilities(DeviceCapability capabilities) { m_capabilities = capabilities; }
    [[nodiscard]] const std::map<zel::String, DeviceProperty>& properties() const { return m_properties; }

private:
    zel::String m_osLocator, m_hwLocator, m_name;
    std::map<zel::String, DeviceProperty> m_properties;
    DeviceCapability m_capabilities;
};

}  // namespace quix5
