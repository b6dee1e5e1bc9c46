#include <bit>

#include "fuzz/Invariants.h"
#include "libDrive2/windows/answers/DiskAnswers.h"
#include "libDrive2/windows/answers/FolderNames.h"
#include "libDrive2/windows/answers/PassThroughAnswers.h"

namespace libDrive2::fuzz {
namespace {

bool lieWithin(Bytes part, Bytes whole) {
    return part.empty() ||
           (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void checkDisk(Bytes answer) {
    const auto sectorBytes = loadLittleEndian<std::uint32_t>(answer, 16);
    if (const auto physical = windows::parsePhysicalSector(answer, sectorBytes))
        requireSizes(1, sectorBytes, *physical);
    if (const auto bytes = windows::parseLength(answer))
        require(*bytes <= std::uint64_t{1} << 63, "a length can be an offset");
    require(windows::parseTemperature(answer).value_or(0) > -273, "nothing is as cold as 0 K");
    (void)windows::parseMediumRemovable(answer);
}

void checkPassThrough(Bytes answer, std::uint32_t sent, std::uint8_t room) {
    if (const auto limits = windows::parseAdapterLimits(answer))
        require(limits->maxTransferBytes >= 4096 && std::has_single_bit(limits->alignment),
                "a command moves a page, aligned to a power of two");
    if (const auto scsi = windows::parseScsiCompletion(answer, sent, room))
        require(scsi->transferredBytes <= sent && scsi->senseBytes <= room, "no more than was offered");
    for (const bool extended : {false, true})
        if (const auto ata = windows::parseAtaCompletion(answer, extended, sent))
            require(ata->transferredBytes <= sent && ata->lba >> (extended ? 48 : 28) == 0,
                    "no more than was offered, within the range of addresses");
    if (const auto data = windows::parseProtocolData(answer))
        require(lieWithin(data->data, answer), "the data lies within the answer");
    if (const auto completion = windows::parseProtocolCompletion(answer))
        require(completion->nvmeStatus <= 0x7FFF, "the phase tag is no part of the status");
    (void)windows::parseLogicalUnit(answer);
}

void checkNames(Bytes list) {
    constexpr std::size_t kSmallestEntry = 68;
    std::vector<std::string> names;
    (void)appendNames(list, names);
    require(names.size() <= list.size() / kSmallestEntry, "every name has an entry of its own");
}

}  // namespace

/// The input is what was offered, in five bytes, and a driver's answer.
void check(Bytes input) {
    constexpr std::size_t kOffered = 5;
    const Bytes answer = slice(input, kOffered, input.size());
    checkDisk(answer);
    checkNames(answer);
    checkPassThrough(answer, loadLittleEndian<std::uint32_t>(input, 0), byteAt(input, 4));
}

}  // namespace libDrive2::fuzz
