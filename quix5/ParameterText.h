#pragma once

#include <optional>

#include "quix5/Test.h"
#include "quix5/Value.h"
#include "zel/Export.h"

namespace quix5 {

/// The value that a text gives for a type: STRING as it stands; BOOLEAN true/false, yes/no, on/off, 1/0
/// without regard to case; numbers in decimal (integers also hexadecimal with 0x); PERCENT from 0 on, with
/// or without "%". Nothing when the text is no such value.
DRIVETEST_API std::optional<Value> parseValue(DataType type, const zel::String& text);

/// The value that a text gives for a parameter: by its type, and one of its choices where it has some.
DRIVETEST_API std::optional<Value> parseValue(const Parameter& parameter, const zel::String& text);
/// What a user should type for a parameter.
DRIVETEST_API zel::String describeValues(const Parameter& parameter);

/// What a user should type for a type, for example "a whole number".
DRIVETEST_API const char* describeType(DataType type);
/// The type in one word, for listings.
DRIVETEST_API const char* typeName(DataType type);

/// The test's parameter of that name; null when it has none.
DRIVETEST_API Parameter* findParameter(const Test& test, const zel::String& name);

}  // namespace quix5
