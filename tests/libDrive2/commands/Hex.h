#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/ScsiSenseText.h"

namespace libDrive2 {

/// "28 0A FF", blanks anywhere, as bytes.
inline std::vector<std::uint8_t> fromHex(std::string text) {
    std::erase(text, ' ');
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

/// Zeros with pieces at places, "25=0111 99=01"; a later piece covers an earlier one.
inline std::vector<std::uint8_t> structure(std::size_t size, const std::string& pieces) {
    std::vector<std::uint8_t> bytes(size);
    std::istringstream rest(pieces);
    for (std::string piece; rest >> piece;)
        std::ranges::copy(fromHex(piece.substr(piece.find('=') + 1)), bytes.begin() + std::stoi(piece));
    return bytes;
}

/// How many first bytes of a good answer suffice; each beginning has memory of its own, for sanitizers.
template <class Parse>
std::size_t shortest(std::vector<std::uint8_t> answer, Parse parse) {
    std::size_t found = 0;
    for (; !answer.empty(); answer.pop_back())
        if (parse(std::vector(answer)))
            found = answer.size();
    return found;
}

/// Where the command's data goes, and its bytes: "in 28 00 ...".
inline std::string shown(const ScsiRequest& request) {
    std::string text = std::vector{"no", "in", "out"}.at(static_cast<std::size_t>(request.direction));
    for (std::size_t i = 0; i < request.cdbBytes; ++i)
        text += ' ' + scsi::hexByte(request.cdb[i]);
    return text;
}

/// CHECK CONDITION, or another status, with sense data.
inline ScsiResponse answered(const std::string& sense, int status = 2) {
    ScsiResponse response{{}, static_cast<std::uint8_t>(status), {}, 0, 0};
    for (const std::uint8_t byte : fromHex(sense))
        response.sense.at(response.senseBytes++) = byte;
    return response;
}

}  // namespace libDrive2
