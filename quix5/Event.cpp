#include "quix5/Event.h"

#include <algorithm>
#include <map>
#include <string>

#include "quix5/Module.h"
#include "zel/Resource.h"

namespace quix5 {

namespace {

zel::String fallbackText(const LocalizableMessage& message) {
    zel::String text = message.key();
    const char* separator = ": ";
    for (const auto& [name, value] : message.variables()) {
        text += separator + name + "=" + value.valueString().zelString();
        separator = ", ";
    }
    return text;
}

bool findText(const zel::String& key, zel::String& text) {
    const std::string resourceKey = "LocalizedString." + key.utf8();
    return zel::Resource::getString(registeredLibrary(), resourceKey.c_str(),
                                    zel::ZELLocale::getGlobalLocale(), text);
}

zel::String fill(const zel::String& text, const LocalizableMessage& message) {
    std::map<zel::String, zel::String> values;
    for (const auto& [name, value] : message.variables())
        values.emplace(name, value.valueString().zelString());
    return zel::fillPlaceholders(text, values);
}

}  // namespace

const char* nameOf(EventType type) {
    switch (type) {
        case EventType::ERR:
            return "ERR";
        case EventType::WARNING:
            return "WARNING";
        case EventType::INFORMATIVE:
            return "INFORMATIVE";
    }
    return "";
}

void LocalizableMessage::assign(const zel::String& name, const Value& value) {
    const auto known = std::find_if(m_variables.begin(), m_variables.end(),
                                    [&name](const auto& variable) { return variable.first == name; });
    if (known != m_variables.end())
        known->second = value;
    else
        m_variables.emplace_back(name, value);
}

zel::String LocalizableMessage::message() const {
    zel::String text;
    return findText(m_key, text) ? fill(text, *this) : fallbackText(*this);
}

Event* Event::setVariable(const char* name, const Value& value) {
    assign(name, value);
    return this;
}

LocalizedString* LocalizedString::setVariable(const char* name, const Value& value) {
    assign(name, value);
    return this;
}

QuixString LocalizedString::localizedString() const {
    zel::String text;
    return findText(key(), text) ? fill(text, *this) : zel::String();
}

}  // namespace quix5
