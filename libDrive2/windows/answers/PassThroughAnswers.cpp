#include "libDrive2/windows/answers/PassThroughAnswers.h"

#include <algorithm>
#include <bit>

namespace libDrive2::windows {

namespace {

constexpr std::uint32_t kPageBytes = 4096;
constexpr std::uint32_t kLargestAlignment = 4096;
constexpr std::size_t kScsiHeaderBytes = 56;  ///< of SCSI_PASS_THROUGH_DIRECT
constexpr std::size_t kAtaHeaderBytes = 48;   ///< of ATA_PASS_THROUGH_DIRECT
constexpr std::size_t kPreviousTaskFile = 32;
constexpr std::size_t kCurrentTaskFile = 40;
constexpr std::size_t kProtocolHeaderBytes = 80;  ///< of STORAGE_PROTOCOL_COMMAND, before its command

}  // namespace

std::optional<AdapterLimits> parseAdapterLimits(Bytes answer) {
    const auto mostBytes = loadLittleEndian<std::uint32_t>(answer, 4);
    const auto pages = loadLittleEndian<std::uint32_t>(answer, 8);
    const auto mask = loadLittleEndian<std::uint32_t>(answer, 16);
    // A buffer that begins within a page touches one page more.
    if (answer.size() < 20 || mostBytes < kPageBytes || pages < 2 || mask >= kLargestAlignment ||
        !std::has_single_bit(mask + 1))
        return std::nullopt;
    const std::uint64_t byPages = std::uint64_t{pages - 1} * kPageBytes;
    return AdapterLimits{static_cast<std::uint32_t>(std::min<std::uint64_t>(mostBytes, byPages)), mask + 1};
}

std::optional<std::uint8_t> parseLogicalUnit(Bytes answer) {
    return answer.size() >= 8 ? std::optional(answer[7]) : std::nullopt;
}

std::optional<ScsiCompletion> parseScsiCompletion(Bytes answer, std::uint32_t sent, std::uint8_t senseRoom) {
    if (answer.size() < kScsiHeaderBytes)
        return std::nullopt;
    return ScsiCompletion{answer[2], std::min(answer[7], senseRoom),
                          std::min(loadLittleEndian<std::uint32_t>(answer, 12), sent)};
}

std::optional<AtaCompletion> parseAtaCompletion(Bytes answer, bool extended, std::uint32_t sent) {
    if (answer.size() < kAtaHeaderBytes)
        return std::nullopt;
    const Bytes now = answer.subspan(kCurrentTaskFile, 8);
    const Bytes before = answer.subspan(kPreviousTaskFile, 8);
    const auto low = [](Bytes file) {
        return std::uint64_t{file[2]} | std::uint64_t{file[3]} << 8 | std::uint64_t{file[4]} << 16;
    };
    AtaCompletion completion{now[6], now[0], now[1], low(now),
                             std::min(loadLittleEndian<std::uint32_t>(answer, 8), sent)};
    if (extended) {
        completion.count = static_cast<std::uint16_t>(completion.count | before[1] << 8);
        completion.lba |= low(before) << 24;
    } else {
        completion.lba |= std::uint64_t{now[5] & 0x0FU} << 24;
    }
    return completion;
}

std::optional<ProtocolData> parseProtocolData(Bytes answer) {
    constexpr std::size_t kSpecificData = 8;  // STORAGE_PROTOCOL_SPECIFIC_DATA, behind Version and Size
    constexpr std::uint32_t kSpecificBytes = 40;
    if (answer.size() < kSpecificData + kSpecificBytes)
        return std::nullopt;
    const auto offset = loadLittleEndian<std::uint32_t>(answer, kSpecificData + 16);
    const auto bytes = loadLittleEndian<std::uint32_t>(answer, kSpecificData + 20);
    const std::size_t room = answer.size() - kSpecificData;
    if (offset < kSpecificBytes || offset > room || bytes > room - offset)
        return std::nullopt;
    return ProtocolData{answer.subspan(kSpecificData + offset, bytes),
                        loadLittleEndian<std::uint32_t>(answer, kSpecificData + 24)};
}

std::optional<ProtocolCompletion> parseProtocolCompletion(Bytes answer) {
    constexpr std::size_t kStatusInErrorInfo = 12;  // of the error information log entry: the status field
    if (answer.size() < kProtocolHeaderBytes)
        return std::nullopt;
    const auto errorInfo = loadLittleEndian<std::uint32_t>(answer, 44);
    const auto status =
        errorInfo >= kProtocolHeaderBytes
            ? loadLittleEndian<std::uint16_t>(answer, std::size_t{errorInfo} + kStatusInErrorInfo)
            : std::uint16_t{0};
    return ProtocolCompletion{loadLittleEndian<std::uint32_t>(answer, 16),
                              loadLittleEndian<std::uint32_t>(answer, 64),
                              static_cast<std::uint16_t>(status >> 1)};
}

}  // namespace libDrive2::windows
