#pragma once

#include <optional>
#include <vector>

#include "quix5/Value.h"

namespace quix5 {

/// A named, typed setting. Created through DiagModule::createParameter, owned by the framework for the
/// life of the process and shared by every test that offers it. value() knows no default: readers
/// ask isset() and apply their own, which they may state for whoever shows or records it.
class Parameter {
public:
    Parameter(zel::String name, DataType type) : m_name(std::move(name)), m_type(type) {}

    [[nodiscard]] const zel::String& name() const { return m_name; }
    [[nodiscard]] DataType type() const { return m_type; }
    /// Whether the user or the configuration gave a value.
    [[nodiscard]] bool isset() const { return m_value.has_value(); }
    /// The given value; the empty text when there is none.
    [[nodiscard]] Value value() const { return m_value.value_or(Value()); }

    /// What readers apply while nothing is given; nothing when none of them said so.
    [[nodiscard]] const std::optional<Value>& defaultValue() const { return m_default; }
    void stateDefault(const Value& value) { m_default = value; }

    /// The texts that are valid, in any case of letters; empty when all are.
    [[nodiscard]] const std::vector<zel::String>& choices() const { return m_choices; }
    void addChoice(const zel::String& choice) { m_choices.push_back(choice); }

    /// For the framework only.
    void set(const Value& value) { m_value = value; }
    void unset() { m_value.reset(); }

private:
    zel::String m_name;
    DataType m_type;
    std::optional<Value> m_value;
    std::optional<Value> m_default;
    std::vector<zel::String> m_choices;
};

}  // namespace quix5
