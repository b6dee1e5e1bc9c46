#pragma once

#include <cstddef>
#include <utility>

#include "drivetest/record/Json.h"

namespace drivetest {

/// An object of these members, in their order, with room for two more. One that grows copies what it has,
/// which of a drive's whole surface takes tens of megabytes.
template <std::size_t N>
Json objectOf(std::pair<const char*, Json> (&&members)[N]) {
    Json object = Json::object();
    auto& place = object.get_ref<Json::object_t&>();
    place.reserve(N + 2);
    for (auto& [name, value] : members)
        place.emplace_back(name, std::move(value));
    return object;
}

/// Moves the members of an object behind those of another one, of which it has none.
inline void moveInto(Json& object, Json more) {
    auto& place = object.get_ref<Json::object_t&>();
    auto& moved = more.get_ref<Json::object_t&>();
    place.reserve(place.size() + moved.size() + 2);
    for (auto& [name, value] : moved)
        place.emplace_back(name, std::move(value));
}

}  // namespace drivetest
