#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::fuzz {

/// Ends the program, which the fuzzer takes for a finding, unless the claim holds.
inline void require(bool holds, const char* claim) {
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", claim);
    std::abort();
}

inline void requireTexts(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts)
        require(std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }),
                "texts are printable");
}

inline void requireStatus(const DeviceStatus& status) {
    require(status.ok() == status.text.isEmpty(), "a failed status has a text, and a success has none");
    requireTexts({status.text.utf8()});
}

inline void requireSizes(std::uint64_t sectors, std::uint32_t sectorBytes, std::uint32_t physicalBytes) {
    require(sectors > 0 && sectorBytes > 0, "a capacity is not zero");
    require(sectors <= std::numeric_limits<std::uint64_t>::max() / sectorBytes, "its bytes can be counted");
    require(physicalBytes >= sectorBytes && physicalBytes % sectorBytes == 0,
            "a physical sector holds whole logical ones");
}

/// What a parser found, as numbers, for comparisons; empty when it found nothing.
using Found = std::vector<std::uint64_t>;

/// Bytes beyond the length that the answer itself states change nothing.
inline void requireSameWithout(Bytes answer, std::size_t stated, Found (*parse)(Bytes)) {
    const Found found = parse(answer);
    require(parse(slice(answer, 0, stated)) == found, "bytes beyond the stated length change nothing");
}

/// What each target defines: looks at one input.
void check(Bytes input);

}  // namespace libDrive2::fuzz
