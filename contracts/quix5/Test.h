#pragma once

#include <utility>
#include <vector>

#include "quix5/Parameter.h"
#include "zel/Export.h"

namespace quix5 {

/// The descriptor of one test, handed to the static init of its class.
class DRIVETEST_API Test {
public:
    explicit Test(zel::String name) : m_name(std::move(name)) {}

    /// Offers the parameter for this test, once. The parameter is not owned.
    Test* addParameter(const Parameter* parameter);
    /// The test writes to the device.
    Test* setDestructive(bool destructive);
    /// A device that carries the property (with that value, or with any when `value` is empty) is not
    /// offered to this test.
    Test* addDevicePropertyExclusion(const char* property, const Value& value);

    [[nodiscard]] const zel::String& name() const { return m_name; }
    [[nodiscard]] const std::vector<const Parameter*>& parameters() const { return m_parameters; }
    [[nodiscard]] bool isDestructive() const { return m_destructive; }
    [[nodiscard]] const std::vector<std::pair<zel::String, Value>>& exclusions() const {
        return m_exclusions;
    }

private:
    zel::String m_name;
    std::vector<const Parameter*> m_parameters;
    std::vector<std::pair<zel::String, Value>> m_exclusions;
    bool m_destructive = false;
};

}  // namespace quix5
