#pragma once

#include <cstdint>
#include <variant>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// Variant value through which parameter values are read. A default-constructed one is empty.
class DRIVETEST_API ZELValue {
public:
    ZELValue() = default;
    explicit ZELValue(bool value) : m_value(value) {}
    explicit ZELValue(std::uint32_t value) : m_value(value) {}
    explicit ZELValue(std::uint64_t value) : m_value(value) {}
    explicit ZELValue(double value) : m_value(value) {}
    explicit ZELValue(String value) : m_value(std::move(value)) {}

    /// Each yields the value when this one holds it; whole numbers also in the other width where they fit,
    /// and 32-bit ones as double. Otherwise false and `out` untouched. The String form is the text of any
    /// value.
    bool get(bool& out) const;
    bool get(std::uint32_t& out) const;
    bool get(std::uint64_t& out) const;
    bool get(double& out) const;
    bool get(String& out) const;

    /// "true" or "false", decimal digits, the shortest decimal form of a double, the text itself.
    [[nodiscard]] String text() const;

    bool operator==(const ZELValue&) const = default;

private:
    std::variant<std::monostate, bool, std::uint32_t, std::uint64_t, double, String> m_value;
};

}  // namespace zel
