#include "drivetest/record/ListPlaces.h"

namespace drivetest {

std::string placeOfList(std::size_t list) {
    return "@" + std::to_string(list);
}

void insertLists(std::string& line, const std::vector<std::string>& lists) {
    for (std::size_t i = 0; i < lists.size(); ++i) {
        const std::string place = '"' + placeOfList(i) + '"';
        if (const std::size_t at = line.find(place); at != std::string::npos)
            line.replace(at, place.size(), lists[i]);
    }
}

}  // namespace drivetest
