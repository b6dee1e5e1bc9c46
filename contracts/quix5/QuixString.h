#pragma once

#include "zel/String.h"

namespace quix5 {

/// The framework's text type: a thin coat around the common library's.
class QuixString {
public:
    QuixString() = default;
    QuixString(zel::String text) : m_text(std::move(text)) {}
    QuixString(const char* text) : m_text(text) {}

    [[nodiscard]] const zel::String& zelString() const { return m_text; }
    bool operator==(const QuixString&) const = default;

private:
    zel::String m_text;
};

}  // namespace quix5
