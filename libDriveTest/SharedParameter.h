#pragma once

#include <cstdint>
#include <span>
#include <type_traits>

#include "quix5/DiagModule.h"
#include "zel/Format.h"

namespace libDriveTest {

/// How a parameter of the module holds its default.
template <class T>
struct DefaultOf {
    using type = T;
};
template <>
struct DefaultOf<zel::String> {
    using type = const char*;
};

/// A parameter that the module's tests share: one framework object, created when the first test registers
/// it, and the default that readers apply when it is not set.
template <class T>
class SharedParameter {
public:
    constexpr SharedParameter(const char* name, quix5::DataType type,
                              typename DefaultOf<T>::type defaultValue, bool flag = false,
                              std::span<const char* const> choices = {})
        : m_name(name), m_type(type), m_default(defaultValue), m_flag(flag), m_choices(choices) {}

    [[nodiscard]] constexpr const char* name() const { return m_name; }

    void addTo(quix5::Test& test) {
        if (m_parameter == nullptr) {
            m_parameter = quix5::DiagModule::createParameter(m_name, m_type, "", m_flag, false);
            m_parameter->stateDefault(asValue(m_default));
            for (const char* choice : m_choices)
                m_parameter->addChoice(choice);
        }
        test.addParameter(m_parameter);
    }

    /// The same for a parameter that nothing reads: it has no default.
    void addUnreadTo(quix5::Test& test) {
        if (m_parameter == nullptr)
            m_parameter = quix5::DiagModule::createParameter(m_name, m_type, "", m_flag, false);
        test.addParameter(m_parameter);
    }

    /// The value given, or the default.
    [[nodiscard]] T value() const {
        T given = m_default;
        if (m_parameter != nullptr && m_parameter->isset())
            m_parameter->value().getZELValue().get(given);
        return given;
    }

    /// "NAME:VALUE", for the report of invalid parameters.
    [[nodiscard]] zel::String item() const {
        return zel::format("%s:%s", m_name, zel::ZELValue(value()).text());
    }

private:
    static quix5::Value asValue(bool value) { return quix5::Value::boolean(value); }
    static quix5::Value asValue(double value) { return quix5::Value::real(value); }
    template <class Other>
    static quix5::Value asValue(Other value) {
        return value;
    }

    const char* m_name;
    quix5::DataType m_type;
    typename DefaultOf<T>::type m_default;
    bool m_flag;  ///< the first of createParameter()
    std::span<const char* const> m_choices;
    quix5::Parameter* m_parameter = nullptr;
};

}  // namespace libDriveTest
