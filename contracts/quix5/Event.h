#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "quix5/Value.h"
#include "zel/Export.h"

namespace quix5 {

enum class EventType : std::uint8_t { ERR, WARNING, INFORMATIVE };

/// The name of the constant.
DRIVETEST_API const char* nameOf(EventType type);

/// A key with variables whose text comes from the module's resource package, under "LocalizedString." and
/// the key. Without a text there, the message is the key and the variables.
class DRIVETEST_API LocalizableMessage {
public:
    explicit LocalizableMessage(zel::String key) : m_key(std::move(key)) {}

    [[nodiscard]] const zel::String& key() const { return m_key; }
    /// In the order in which they were first set.
    [[nodiscard]] const std::vector<std::pair<zel::String, Value>>& variables() const { return m_variables; }

protected:
    void assign(const zel::String& name, const Value& value);
    [[nodiscard]] zel::String message() const;

private:
    zel::String m_key;
    std::vector<std::pair<zel::String, Value>> m_variables;
};

/// What a test measured, as a number; its events' texts tell it to people.
struct Measurement {
    zel::String name;  ///< such as "readRate"
    double value = 0;
    zel::String unit;
    zel::String limitName{};  ///< of the parameter that sets the least it must be; empty for none
    double atLeast = 0;
};

/// A named, localizable message; created through DiagModule::createEvent, owned by the framework for the
/// life of the process and reused. Variables stay until they are overwritten.
class DRIVETEST_API Event : public LocalizableMessage {
public:
    using LocalizableMessage::LocalizableMessage;

    Event* setVariable(const char* name, const Value& value);
    /// Stays, like a variable, until it is overwritten.
    void setMeasurement(Measurement measurement) { m_measurement = std::move(measurement); }
    [[nodiscard]] const std::optional<Measurement>& measurement() const { return m_measurement; }
    /// The text in the global locale with its variables filled in.
    [[nodiscard]] zel::String localizedMessage() const { return message(); }

private:
    std::optional<Measurement> m_measurement;
};

/// A localizable text; created through DiagModule::createLocalizedString, owned and kept like an event.
class DRIVETEST_API LocalizedString : public LocalizableMessage {
public:
    using LocalizableMessage::LocalizableMessage;

    LocalizedString* setVariable(const char* name, const Value& value);
    /// The text in the global locale with its variables filled in; empty when the package has none.
    [[nodiscard]] QuixString localizedString() const;
};

}  // namespace quix5
