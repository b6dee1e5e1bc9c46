#include "libDrive2/commands/ScsiAnswers.h"

#include <functional>

#include "fuzz/Invariants.h"
#include "libDrive2/commands/ScsiLogs.h"

namespace libDrive2::fuzz {
namespace {

Found findInquiry(Bytes answer) {
    const auto found = scsi::parseInquiry(answer);
    if (!found)
        return {};
    requireTexts({found->vendor, found->product, found->revision});
    return {found->deviceType, found->removable, std::hash<std::string>()(found->vendor)};
}

Found findPages(Bytes answer) {
    if (const auto pages = scsi::parseSupportedPages(answer))
        return {pages->begin(), pages->end()};
    if (const auto serial = scsi::parseUnitSerialNumber(answer)) {
        requireTexts({*serial});
        return {std::hash<std::string>()(*serial)};
    }
    if (const auto limits = scsi::parseBlockLimits(answer))
        return {limits->maximumTransfer, limits->optimalTransfer};
    if (const auto characteristics = scsi::parseBlockCharacteristics(answer))
        return {characteristics->rotationRate};
    return {};
}

Found findLogs(Bytes answer) {
    Found found;
    for (const auto number :
         {scsi::parseUncorrectedErrors(answer, scsi::kLogPageReadErrors), scsi::parsePowerOnMinutes(answer)})
        found.push_back(number.value_or(0));
    found.push_back(scsi::parseInformationalExceptions(answer).value_or(false));
    found.push_back(scsi::parseEnduranceUsed(answer).value_or(0));
    const std::vector<SelfTestEntry> tests = scsi::parseSelfTestResults(answer);
    require(tests.size() <= 20, "the page has 20 entries");
    for (const SelfTestEntry& test : tests)
        found.push_back(test.firstBad.value_or(0));
    return found;
}

Found findMode(const std::optional<scsi::ModeParameters>& found) {
    if (!found)
        return {};
    return {found->writeProtected, found->supportsForceUnitAccess, found->writeCacheEnabled.has_value(),
            found->writeCacheEnabled.value_or(false)};
}

Found findTemperature(Bytes answer) {
    const auto found = scsi::parseTemperature(answer);
    return found ? Found{static_cast<std::uint64_t>(*found)} : Found{};
}

}  // namespace

/// The input is an answer, read as if to each command in turn.
void check(Bytes input) {
    for (const auto& found : {scsi::parseCapacity10(input), scsi::parseCapacity16(input)})
        if (found)
            requireSizes(found->sectors, found->sectorBytes, found->physicalSectorBytes);
    const std::size_t pageBytes = std::size_t{4} + loadBigEndian<std::uint16_t>(input, 2);
    requireSameWithout(input, pageBytes, findPages);
    requireSameWithout(input, pageBytes, findTemperature);
    requireSameWithout(input, pageBytes, findLogs);
    // Some devices state less than the 36 bytes that they must return, and do return.
    requireSameWithout(input, std::max(std::size_t{36}, std::size_t{5} + byteAt(input, 4)), findInquiry);
    requireSameWithout(input, std::size_t{1} + byteAt(input, 0),
                       [](Bytes bytes) { return findMode(scsi::parseModeSense6(bytes)); });
    requireSameWithout(input, std::size_t{2} + loadBigEndian<std::uint16_t>(input, 0),
                       [](Bytes bytes) { return findMode(scsi::parseModeSense10(bytes)); });
}

}  // namespace libDrive2::fuzz
