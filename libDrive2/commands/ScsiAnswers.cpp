#include "libDrive2/commands/ScsiAnswers.h"

#include <limits>

#include "libDrive2/commands/ScsiCommands.h"

namespace libDrive2::scsi {

namespace {

constexpr std::size_t kInquiryBytes = 36;
constexpr std::size_t kPageHeaderBytes = 4;
constexpr std::uint32_t kMinSectorBytes = 128;
constexpr std::uint32_t kMaxSectorBytes = 1U << 20;

/// The payload of a vital product data page; nothing when it is another page.
std::optional<Bytes> pagePayload(Bytes answer, std::uint8_t page) {
    if (answer.size() < kPageHeaderBytes || answer[1] != page)
        return std::nullopt;
    return slice(answer, kPageHeaderBytes, loadBigEndian<std::uint16_t>(answer, 2));
}

bool isSectorSize(std::uint32_t bytes) {
    return bytes >= kMinSectorBytes && bytes <= kMaxSectorBytes;
}

/// A byte of a mode page, counted from its page code; nothing where the page is not there or ends before.
std::optional<std::uint8_t> findInPage(Bytes pages, std::uint8_t page, std::size_t at) {
    while (pages.size() >= 3) {
        const std::uint8_t code = pages[0] & 0x3F;
        const bool hasSubpage = (pages[0] & 0x40) != 0;
        if (code == page && !hasSubpage && at < std::size_t{pages[1]} + 2 && at < pages.size())
            return pages[at];
        const std::size_t header = hasSubpage ? 4 : 2;
        const std::size_t length = hasSubpage ? loadBigEndian<std::uint16_t>(pages, 2) : pages[1];
        pages = slice(pages, header + length, pages.size());
    }
    return std::nullopt;
}

/// Both forms, once their headers are read.
ModeParameters modeParameters(std::uint8_t deviceSpecific, Bytes pages) {
    ModeParameters parameters;
    parameters.writeProtected = (deviceSpecific & 0x80) != 0;
    parameters.supportsForceUnitAccess = (deviceSpecific & 0x10) != 0;  // DPOFUA
    // SBC-3, caching mode page: WCE. SPC-4, control mode page: ATO.
    if (const auto cache = findInPage(pages, kModePageCaching, 2))
        parameters.writeCacheEnabled = (*cache & 0x04) != 0;
    parameters.hostOwnsTags = (findInPage(pages, kModePageControl, 5).value_or(0) & 0x80) != 0;
    return parameters;
}

}  // namespace

std::optional<Inquiry> parseInquiry(Bytes answer) {
    if (answer.size() < kInquiryBytes || (answer[0] & 0xE0) != 0)  // peripheral qualifier: a connected unit
        return std::nullopt;
    Inquiry inquiry;
    inquiry.deviceType = answer[0] & 0x1F;
    inquiry.removable = (answer[1] & 0x80) != 0;
    inquiry.version = answer[2];
    inquiry.vendor = textOf(answer.subspan(8, 8));
    inquiry.product = textOf(answer.subspan(16, 16));
    inquiry.revision = textOf(answer.subspan(32, 4));
    return inquiry;
}

std::optional<std::vector<std::uint8_t>> parseSupportedPages(Bytes answer) {
    const std::optional<Bytes> payload = pagePayload(answer, kPageSupportedPages);
    // The list begins with page 0 itself; a device that ignores the page code has its INQUIRY data there.
    if (!payload || payload->empty() || payload->front() != kPageSupportedPages)
        return std::nullopt;
    return std::vector<std::uint8_t>(payload->begin(), payload->end());
}

std::optional<std::string> parseUnitSerialNumber(Bytes answer) {
    const std::optional<Bytes> payload = pagePayload(answer, kPageUnitSerialNumber);
    // A removable device that ignores the page code has 80h there too, but no sensible length.
    if (!payload || payload->size() < loadBigEndian<std::uint16_t>(answer, 2))
        return std::nullopt;
    return textOf(*payload);
}

std::optional<BlockLimits> parseBlockLimits(Bytes answer) {
    const std::optional<Bytes> payload = pagePayload(answer, kPageBlockLimits);
    if (!payload || payload->size() < 12)
        return std::nullopt;
    return BlockLimits{loadBigEndian<std::uint32_t>(*payload, 4), loadBigEndian<std::uint32_t>(*payload, 8)};
}

std::optional<BlockCharacteristics> parseBlockCharacteristics(Bytes answer) {
    const std::optional<Bytes> payload = pagePayload(answer, kPageBlockCharacteristics);
    if (!payload || payload->size() < 2)
        return std::nullopt;
    return BlockCharacteristics{loadBigEndian<std::uint16_t>(*payload, 0)};
}

std::optional<Capacity> parseCapacity10(Bytes answer) {
    const auto sectorBytes = loadBigEndian<std::uint32_t>(answer, 4);
    if (answer.size() < 8 || !isSectorSize(sectorBytes))
        return std::nullopt;
    return Capacity{std::uint64_t{loadBigEndian<std::uint32_t>(answer, 0)} + 1, sectorBytes, sectorBytes, 0};
}

std::optional<Capacity> parseCapacity16(Bytes answer) {
    const auto lastLba = loadBigEndian<std::uint64_t>(answer, 0);
    const auto sectorBytes = loadBigEndian<std::uint32_t>(answer, 8);
    if (answer.size() < 14 || !isSectorSize(sectorBytes) ||
        lastLba >= std::numeric_limits<std::uint64_t>::max() / sectorBytes)
        return std::nullopt;
    const unsigned exponent = answer[13] & 0x0FU;  // logical blocks per physical block
    const std::uint64_t physical = std::uint64_t{sectorBytes} << exponent;
    const bool isProtected = (answer[12] & 0x01) != 0;  // PROT_EN; P_TYPE follows it
    const auto type = static_cast<std::uint8_t>(isProtected ? 1 + (answer[12] >> 1 & 0x07) : 0);
    return Capacity{lastLba + 1, sectorBytes,
                    physical <= kMaxSectorBytes ? static_cast<std::uint32_t>(physical) : sectorBytes, type};
}

std::optional<ModeParameters> parseModeSense6(Bytes answer) {
    if (answer.size() < 4 || answer[0] < 3)
        return std::nullopt;
    const Bytes held = slice(answer, 0, std::size_t{answer[0]} + 1);
    return modeParameters(answer[2], slice(held, 4 + std::size_t{answer[3]}, held.size()));
}

std::optional<ModeParameters> parseModeSense10(Bytes answer) {
    if (answer.size() < 8 || loadBigEndian<std::uint16_t>(answer, 0) < 6)
        return std::nullopt;
    const Bytes held = slice(answer, 0, std::size_t{loadBigEndian<std::uint16_t>(answer, 0)} + 2);
    const std::size_t descriptors = loadBigEndian<std::uint16_t>(answer, 6);
    return modeParameters(answer[3], slice(held, 8 + descriptors, held.size()));
}

std::optional<double> parseTemperature(Bytes answer) {
    if (answer.size() < kPageHeaderBytes || (answer[0] & 0x3F) != kLogPageTemperature)
        return std::nullopt;
    Bytes parameters = slice(answer, kPageHeaderBytes, loadBigEndian<std::uint16_t>(answer, 2));
    while (parameters.size() >= 4) {
        const std::size_t length = parameters[3];
        // Parameter 0: the temperature; 255 when the device cannot tell.
        if (loadBigEndian<std::uint16_t>(parameters, 0) == 0 && length >= 2 && parameters.size() >= 6)
            return parameters[5] != 0xFF ? std::optional<double>(parameters[5]) : std::nullopt;
        parameters = slice(parameters, 4 + length, parameters.size());
    }
    return std::nullopt;
}

}  // namespace libDrive2::scsi
