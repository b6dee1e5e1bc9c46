#include "libDrive2/commands/MmcParameters.h"

#include <algorithm>

#include "libDrive2/commands/MmcCommands.h"

namespace libDrive2::mmc {

namespace {

constexpr std::size_t kModeHeaderBytes = 8;
constexpr std::size_t kPageBytes = 0x34;  ///< of the write parameters page; some drives add to it
constexpr std::uint8_t kTrackModeUninterrupted = 4;
constexpr std::uint8_t kTrackModeIncremental = 5;
constexpr std::uint8_t kDataMode1 = 8;  ///< data block type: 2048 bytes of user data
constexpr std::uint8_t kImmediate = 0x02;
constexpr std::uint32_t kRestartFormat = 0x01;

std::uint8_t bit(bool set, unsigned position) {
    return static_cast<std::uint8_t>(set ? 1U << position : 0U);
}

}  // namespace

std::optional<std::vector<std::uint8_t>> findWriteParameters(Bytes answer) {
    const auto page = findModePage(answer, kModePageWriteParameters);
    return page && page->size() >= kPageBytes
               ? std::optional(std::vector<std::uint8_t>(page->begin(), page->end()))
               : std::nullopt;
}

std::vector<std::uint8_t> writeParameterList(std::vector<std::uint8_t> page,
                                             const WriteParameters& parameters) {
    page[0] &= 0x3F;  // PS is reserved in MODE SELECT
    page[2] =
        static_cast<std::uint8_t>(bit(parameters.underrunFree, 6) | bit(parameters.linkSectors != 0, 5) |
                                  bit(parameters.isTest, 4) | static_cast<std::uint8_t>(parameters.type));
    page[3] = static_cast<std::uint8_t>(
        (parameters.laterSessionsAllowed ? 0xC0 : 0) | bit(parameters.packetSectors != 0, 5) |
        (parameters.dataIsIncremental ? kTrackModeIncremental : kTrackModeUninterrupted));
    page[4] = kDataMode1;
    page[5] = parameters.linkSectors;
    page[8] = 0;  // session format: CD-ROM
    storeBigEndian(page, 10, parameters.packetSectors);
    std::vector<std::uint8_t> list(kModeHeaderBytes + page.size());
    std::copy(page.begin(), page.end(), list.begin() + kModeHeaderBytes);
    return list;
}

std::vector<std::uint8_t> formatParameterList(const FormatCapacities::Choice& choice, bool immediate,
                                              bool restart) {
    std::vector<std::uint8_t> list(12);
    list[1] = immediate ? kImmediate : 0;
    list[3] = 8;  // the descriptor's bytes
    storeBigEndian(list, 4, choice.sectors);
    // What drives tell of this type's parameter is none: in the command it tells new formats from restarts.
    const std::uint32_t parameter = choice.type == kFormatDvdPlusRw ? 0 : choice.parameter;
    storeBigEndian(list, 8, restart ? kRestartFormat : parameter);
    list[8] = static_cast<std::uint8_t>(choice.type << 2);
    return list;
}

void setFormatOptionsValid(std::vector<std::uint8_t>& list) {
    constexpr std::uint8_t kOptionsValid = 0x80;
    list[1] |= kOptionsValid;
}

}  // namespace libDrive2::mmc
