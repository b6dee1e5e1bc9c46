#include "drivetest/health/JsonFields.h"

namespace drivetest {

namespace {

constexpr std::size_t kLongestText = 200;

}  // namespace

const Json& at(const Json& value, FieldPath path) {
    static const Json nothing;
    const Json* place = &value;
    for (const char* const name : path) {
        if (!place->is_object())
            return nothing;
        const auto found = place->find(name);
        if (found == place->end())
            return nothing;
        place = &*found;
    }
    return *place;
}

FieldNumber numberAt(const Json& value, FieldPath path) {
    const Json& found = at(value, path);
    if (!found.is_number_integer())
        return std::nullopt;
    const auto number = found.get<std::int64_t>();
    // What does not fit is negative as a signed number.
    const bool isTooLarge = found.is_number_unsigned() && number < 0;
    return isTooLarge || number < -kMostOfFields || number > kMostOfFields ? std::nullopt
                                                                           : std::optional(number);
}

FieldNumber countAt(const Json& value, FieldPath path, std::int64_t most) {
    const FieldNumber number = numberAt(value, path);
    return number && *number >= 0 && *number <= most ? number : std::nullopt;
}

std::optional<bool> flagAt(const Json& value, FieldPath path) {
    const Json& found = at(value, path);
    return found.is_boolean() ? std::optional(found.get<bool>()) : std::nullopt;
}

std::string textAt(const Json& value, FieldPath path) {
    const Json& found = at(value, path);
    if (!found.is_string())
        return {};
    auto text = found.get<std::string>();
    if (text.size() <= kLongestText)
        return text;
    // Not within a character.
    std::size_t end = kLongestText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

}  // namespace drivetest
