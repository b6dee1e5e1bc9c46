#include <cmath>
#include <numeric>

#include "fuzz/Invariants.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/commands/AtaSmart.h"

namespace libDrive2::fuzz {
namespace {

void checkHealth(Bytes answer) {
    for (const SmartAttribute& attribute : ata::parseAttributes(answer, answer))
        require(attribute.id != 0 && attribute.raw >> 48 == 0, "an attribute has a number and 48 bits");
    require(ata::parseSelfTestLog(answer).size() <= 21, "the log has 21 entries");
    if (const auto test = ata::parseSmartSelfTest(answer))
        require(test->percentLeft <= 100, "no more than all of a test is left");
    (void)ata::parseConfiguredMaxAddress(answer);
}

void checkAnswer(Bytes answer) {
    checkHealth(answer);
    require(std::abs(ata::parseSmartTemperature(answer).value_or(0)) <= 128, "a temperature is of one byte");
    const auto found = ata::parseIdentity(answer);
    if (!found)
        return;
    requireTexts({found->model, found->serial, found->firmware});
    // Packet devices tell no sectors.
    requireSizes(std::max<std::uint64_t>(found->sectors, 1), found->sectorBytes, found->physicalSectorBytes);
    require(found->extended || found->sectors < std::uint64_t{1} << 28, "28 bits reach 2^28 sectors");
    // ACS-4: bit 12 of word 106 makes words 117 and 118 valid, which count words of two bytes.
    const bool told = (loadLittleEndian<std::uint16_t>(answer, 212) & 0xD000) == 0x5000;
    const std::uint64_t words = told ? loadLittleEndian<std::uint32_t>(answer, 234) : 256;
    require(found->sectorBytes == words * 2, "the sector size is the one that the device told");
}

}  // namespace

/// The input is an answer of 512 bytes, or its beginning; also, the registers of a response.
void check(Bytes input) {
    AtaResponse response;
    response.status = byteAt(input, 0);
    response.error = byteAt(input, 1);
    response.lba = loadLittleEndian<std::uint64_t>(input, 2);
    const DeviceStatus status = ata::statusOf(response);
    requireStatus(status);
    require(status.ok() == ((response.status & 0xA1) == 0), "BSY, DF and ERR are failures, and nothing else");
    checkAnswer(input);
    std::vector<std::uint8_t> whole(input.begin(), input.end());
    whole.resize(std::max(ata::kSectorOfAnswer, whole.size()));
    checkAnswer(whole);
    whole[511] = static_cast<std::uint8_t>(0 - std::accumulate(whole.begin(), whole.begin() + 511, 0U));
    checkAnswer(whole);
}

}  // namespace libDrive2::fuzz
