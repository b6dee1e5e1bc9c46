#pragma once

#include <cstdint>

#include "quix5/QuixString.h"
#include "zel/Export.h"
#include "zel/ZELValue.h"

namespace quix5 {

/// The type of a parameter, an event variable or a device property.
enum class DataType : std::uint8_t {
    STRING,
    BOOLEAN,
    UINT32,
    UINT64,
    DOUBLE,
    PERCENT,  ///< a double that holds a percentage
};

/// A typed value.
class DRIVETEST_API Value {
public:
    Value() : Value("") {}
    Value(std::uint32_t number) : m_type(DataType::UINT32), m_value(number) {}
    Value(std::uint64_t number) : m_type(DataType::UINT64), m_value(number) {}
    Value(const zel::String& text) : m_type(DataType::STRING), m_value(text) {}
    Value(const char* text) : m_type(DataType::STRING), m_value(zel::String(text)) {}
    /// For the types without a constructor of their own, and for PERCENT.
    static Value boolean(bool value) { return {DataType::BOOLEAN, zel::ZELValue(value)}; }
    static Value real(double value) { return {DataType::DOUBLE, zel::ZELValue(value)}; }
    static Value percent(double value) { return {DataType::PERCENT, zel::ZELValue(value)}; }

    [[nodiscard]] DataType type() const { return m_type; }
    /// The text form of any value.
    [[nodiscard]] QuixString valueString() const { return m_value.text(); }
    /// False unless this is a boolean that is true.
    [[nodiscard]] bool valueBool() const;
    [[nodiscard]] const zel::ZELValue& getZELValue() const { return m_value; }

    bool operator==(const Value&) const = default;

private:
    Value(DataType type, zel::ZELValue value) : m_type(type), m_value(std::move(value)) {}

    DataType m_type;
    zel::ZELValue m_value;
};

}  // namespace quix5
