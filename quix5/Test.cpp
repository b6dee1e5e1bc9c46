#include "quix5/Test.h"

#include <algorithm>

namespace quix5 {

Test* Test::addParameter(const Parameter* parameter) {
    if (std::find(m_parameters.begin(), m_parameters.end(), parameter) == m_parameters.end())
        m_parameters.push_back(parameter);
    return this;
}

Test* Test::setDestructive(bool destructive) {
    m_destructive = destructive;
    return this;
}

Test* Test::addDevicePropertyExclusion(const char* property, const Value& value) {
    m_exclusions.emplace_back(property, value);
    return this;
}

}  // namespace quix5
