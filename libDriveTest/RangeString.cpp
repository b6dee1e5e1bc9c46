#include "RangeString.h"

#include "zel/Log.h"
#include "zel/Regex.h"

namespace libDriveTest {

using zel::Matcher;
using zel::Regex;
using zel::String;

namespace {

constexpr const char* kBadOperand =
    "libDriveTest::parseRangeString : Input range start/end value operand is not a valid positive integer";
constexpr const char* kBadRange = "libDriveTest::parseRangeString : Invalid input range";
constexpr const char* kOverflow = "libDriveTest::parseRangeString : Invalid input range, overflow detected";
constexpr const char* kPercentTooLarge =
    "libDriveTest::parseRangeString : Invalid input range, percentage value >= 100";

zel::Logger& logger() {
    return zel::LogFactory::createLogger("libDriveTest.DriveTest_Common");
}

/// One call of the parser: the text and the medium it speaks of.
struct Request {
    const String& range;
    std::uint64_t sectorCount;
    std::uint32_t sectorSize;
};

void logWithRange(const Request& request, int priority, const char* message) {
    logger().line(priority, message);
    logger().line(priority, "libDriveTest::parseRangeString : the offending input range is: \"",
                  request.range, "\"");
}

bool reject(const Request& request, const char* message) {
    logWithRange(request, 4, message);
    return false;
}

/// Shifts a size by its unit and turns it into sectors. Bits lost beyond the top are noticed only when the
/// result becomes smaller than the operand.
bool sizeToSectors(const Request& request, std::uint64_t operand, const String& unit,
                   std::uint64_t& sectors) {
    int shift = 0;
    switch (unit.units()[0]) {
        case u'G':
            shift = 30;
            break;
        case u'K':
            shift = 10;
            break;
        case u'M':
            shift = 20;
            break;
        default:
            return reject(request, kBadRange);
    }
    const std::uint64_t bytes = operand << shift;
    if (bytes < operand)
        return reject(request, kOverflow);
    sectors = bytes / request.sectorSize;
    return true;
}

bool percentToSectors(const Request& request, std::uint64_t percent, std::uint64_t& sectors) {
    if (percent >= 100)
        return reject(request, kPercentTooLarge);
    sectors = percent * request.sectorCount / 100;
    return true;
}

bool parseSize(const Request& request, const Matcher& match, std::uint64_t& lba) {
    std::uint64_t size = 0;
    if (!match.group(1).strToUInt64(size) || match.group(2).isEmpty())
        return reject(request, kBadOperand);
    return sizeToSectors(request, size, match.group(2), lba);
}

bool parsePercentage(const Request& request, const Matcher& match, std::uint64_t& lba) {
    std::uint64_t percent = 0;
    if (!match.group(1).strToUInt64(percent))
        return reject(request, "libDriveTest::parseRangeString : unable to parse input percentage");
    return percentToSectors(request, percent, lba);
}

std::uint64_t baseOf(const Request& request, const String& word) {
    return word == "MIN" ? 0 : request.sectorCount;
}

bool offsetInSectors(const Request& request, std::uint64_t operand, const String& unit,
                     std::uint64_t& offset) {
    offset = operand;
    if (unit.isEmpty())
        return true;
    return unit == "%" ? percentToSectors(request, operand, offset)
                       : sizeToSectors(request, operand, unit, offset);
}

bool parseOffset(const Request& request, const Matcher& match, std::uint64_t& lba) {
    const std::uint64_t base = lba = baseOf(request, match.group(1));
    const bool adds = match.group(2) == "+";
    if (base != 0 && adds)
        return reject(
            request,
            "libDriveTest::parseRangeString : Input range attempts to increment beyond end of drive");
    if (base == 0 && !adds)
        return reject(
            request,
            "libDriveTest::parseRangeString : Input range attempts to decrement beyond start of drive");
    std::uint64_t operand = 0;
    if (!match.group(3).strToUInt64(operand) || operand == 0)
        return reject(request, kBadOperand);
    std::uint64_t offset = 0;
    if (!offsetInSectors(request, operand, match.group(4), offset))
        return false;
    if (adds) {
        const std::uint64_t sum = base + offset;
        if (sum < base)
            return reject(request, kOverflow);
        lba = sum;
    } else if (offset <= base) {
        lba = base - offset;
    } else {
        logWithRange(
            request, 3,
            "libDriveTest::parseRangeString : decrementer greater than operand, setting output to zero");
        lba = 0;
    }
    return true;
}

}  // namespace

bool parseRangeString(const String& range, std::uint64_t sectorCount, std::uint32_t sectorSize,
                      std::uint64_t& lba) {
    if (sectorCount == 0 || sectorSize == 0) {
        logger().line(4, "libDriveTest::parseRangeString : invalid sector size or sector count passed in");
        return false;
    }
    static const Regex plain(R"(^\s*([0-9]+)\s*$)");
    static const Regex size(R"(^\s*([0-9]+)([KMG]B)\s*$)");
    static const Regex percentage(R"(^\s*([0-9]+)%\s*$)");
    static const Regex word(R"(^\s*(MIN|MAX)\s*$)");
    static const Regex offset(R"(^\s*(MIN|MAX)\s*([\+-])\s*([0-9]+)([KMG]B|%){0,1}\s*$)");

    const Request request{range, sectorCount, sectorSize};
    if (const Matcher match(plain, range); match.matches())
        return match.group(1).strToUInt64(lba);
    if (const Matcher match(size, range); match.matches())
        return parseSize(request, match, lba);
    if (const Matcher match(percentage, range); match.matches())
        return parsePercentage(request, match, lba);
    if (const Matcher match(word, range); match.matches()) {
        lba = baseOf(request, match.group(1));
        return true;
    }
    if (const Matcher match(offset, range); match.matches())
        return parseOffset(request, match, lba);
    return reject(request, kBadRange);
}

}  // namespace libDriveTest
