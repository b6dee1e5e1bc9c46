#include "libDrive2/sim/SimScsiCommand.h"

#include <algorithm>
#include <array>
#include <limits>

#include "libDrive2/sim/SimBytes.h"

namespace libDrive2 {

namespace {

constexpr std::uint8_t kCheckCondition = 0x02;

// SPC-4: response codes of current errors.
constexpr std::uint8_t kFixedFormat = 0x70;
constexpr std::uint8_t kDescriptorFormat = 0x72;
constexpr std::uint8_t kValid = 0x80;
constexpr std::size_t kFixedBytes = 18;
constexpr std::size_t kDescriptorHeaderBytes = 8;
constexpr std::size_t kInformationBytes = 12;

std::vector<std::uint8_t> encodeFixed(SimSense sense, std::optional<std::uint64_t> lba) {
    std::vector<std::uint8_t> bytes(kFixedBytes);
    bytes[0] = static_cast<std::uint8_t>(kFixedFormat | (lba ? kValid : 0));
    bytes[2] = sense.key;
    putBigEndian(&bytes[3], 4, lba.value_or(0));
    bytes[7] = kFixedBytes - 8;
    bytes[12] = sense.code;
    bytes[13] = sense.qualifier;
    return bytes;
}

std::vector<std::uint8_t> encodeDescriptors(SimSense sense, std::optional<std::uint64_t> lba) {
    std::vector<std::uint8_t> bytes(kDescriptorHeaderBytes + (lba ? kInformationBytes : 0));
    bytes[0] = kDescriptorFormat;
    bytes[1] = sense.key;
    bytes[2] = sense.code;
    bytes[3] = sense.qualifier;
    if (!lba)
        return bytes;
    bytes[7] = kInformationBytes;
    std::uint8_t* const information = &bytes[kDescriptorHeaderBytes];
    information[1] = kInformationBytes - 2;
    information[2] = kValid;
    putBigEndian(information + 4, 8, *lba);
    return bytes;
}

struct SenseRow {
    SimFault fault;
    SimSense sense;
    bool namesSector = false;
};

/// The others are met before a command begins.
constexpr SenseRow kSenses[] = {
    {SimFault::recovered, {0x1, 0x18, 0x00}, true},
    {SimFault::noMedium, kNoMedium},
    {SimFault::locked, {0x7, 0x74, 0x71}},
    {SimFault::beyondEnd, {0x5, 0x21, 0x00}},
    {SimFault::writeProtected, {0x7, 0x27, 0x00}},
    {SimFault::unreadable, {0x3, 0x11, 0x00}, true},
    {SimFault::unwritable, {0x3, 0x0C, 0x00}, true},
    {SimFault::unseekable, {0x4, 0x15, 0x01}, true},
    {SimFault::failedCheck, {0xB, 0x10, 0x01}, true},
};

}  // namespace

std::vector<std::uint8_t> encodeSense(SimSense sense, std::optional<std::uint64_t> lba, bool descriptor) {
    const bool isWide = lba.value_or(0) > std::numeric_limits<std::uint32_t>::max();
    return descriptor || isWide ? encodeDescriptors(sense, lba) : encodeFixed(sense, lba);
}

std::uint64_t SimScsiCommand::field(std::size_t at, std::size_t bytes) const {
    return getBigEndian(&m_request.cdb[at], bytes);
}

std::uint8_t SimScsiCommand::opcodeBytes() const {
    constexpr std::array<std::uint8_t, 8> kBytesOfGroup{6, 10, 10, 0, 16, 12, 0, 0};
    return kBytesOfGroup[opcode() >> 5];
}

SimScsiCommand::Extent SimScsiCommand::extent() const {
    switch (opcodeBytes()) {
        case 6: {
            // 21 bits of LBA; a length of 0 stands for 256 sectors.
            const std::uint8_t count = byte(4);
            return {field(1, 3) & 0x1FFFFF, count == 0 ? 256U : count};
        }
        case 10:
            return {field(2, 4), static_cast<std::uint32_t>(field(7, 2))};
        case 12:
            return {field(2, 4), static_cast<std::uint32_t>(field(6, 4))};
        default:
            return {field(2, 8), static_cast<std::uint32_t>(field(10, 4))};
    }
}

void SimScsiCommand::answer(const std::vector<std::uint8_t>& bytes, std::uint64_t allocationLength) {
    const std::size_t sent = std::min(
        {bytes.size(), static_cast<std::size_t>(allocationLength), bufferBytes(DataDirection::fromDevice)});
    std::copy_n(bytes.begin(), sent, buffer());
    setTransferred(sent);
}

void SimScsiCommand::fail(SimSense sense, std::optional<std::uint64_t> lba) {
    const std::vector<std::uint8_t> bytes = encodeSense(sense, lba, m_descriptorSense);
    m_response.status = kCheckCondition;
    std::copy(bytes.begin(), bytes.end(), m_response.sense.begin());
    m_response.senseBytes = static_cast<std::uint8_t>(bytes.size());
}

void SimScsiCommand::finish(const SimOutcome& outcome) {
    const auto* const row = std::ranges::find(kSenses, outcome.fault, &SenseRow::fault);
    if (row != std::end(kSenses))
        fail(row->sense, row->namesSector ? std::optional(outcome.lba) : std::nullopt);
}

}  // namespace libDrive2
