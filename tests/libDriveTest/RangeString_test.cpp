#include "libDriveTest/RangeString.h"

#include <gmock/gmock.h>

#include "support/RecordingHost.h"

namespace libDriveTest {
namespace {

using testing::ElementsAre;
using Ranges = std::vector<std::string>;

constexpr const char* kLogger = "libDriveTest.DriveTest_Common";
const std::string kPrefix = "libDriveTest::parseRangeString : ";

/// What a text gave: the LBA or "no", and what was logged before the line with the text itself.
std::string outcome(const std::string& range, std::uint64_t sectorCount, std::uint32_t sectorSize) {
    testing_support::RecordingHost host;
    std::uint64_t lba = 0;
    const bool accepted = parseRangeString(range, sectorCount, sectorSize, lba);
    const auto lines = host.linesOf(kLogger, accepted ? 3 : 4);
    EXPECT_EQ(lines.size(), host.log.size());
    const std::string result = accepted ? std::to_string(lba) : "no";
    if (lines.empty())
        return result;
    EXPECT_THAT(lines, ElementsAre(testing::StartsWith(kPrefix),
                                   kPrefix + "the offending input range is: \"" + range + "\""));
    return result + ": " + lines.front().substr(kPrefix.size());
}

TEST(RangeString, GivesItsSectorOrSaysWhyNot) {
    const struct {
        const char* outcome;
        Ranges ranges;
    } cases[] = {
        {"0", {"0", "0KB", "0%", "MIN", "MAX-1000", "1KB/4096", "MIN+1KB/4096"}},
        {"123", {"123", " \t123\r\n", "00123", "MIN+123", "MIN + 123 "}},
        {"5000", {"5000", "MIN+5000"}},
        {"18446744073709551615", {"18446744073709551615", "MIN+18446744073709551615"}},
        {"2", {"1KB", "MIN+1KB", "8KB/4096", "11KB/4096"}},
        {"2048", {" 1MB ", "MIN+1MB"}},
        {"2097152", {"1GB"}},
        {"990", {" 99% ", "MIN+99%", "MAX-10"}},
        {"1000", {" MAX "}},
        {"998", {"MAX-1KB", "MAX\t-\t2"}},
        {"900", {"MAX - 10%", "90%"}},
        // (2^54 + 2^45) KB: the lost bit is not noticed, since 2^55 is still the larger number.
        {"70368744177664", {"18049582881570816KB", "MIN+18049582881570816KB"}},
        {"0: decrementer greater than operand, setting output to zero",
         {"MAX-2000", "MAX-1GB", "MAX-18446744073709551615"}},
        {"no", {"18446744073709551616"}},
        {"no: Invalid input range",
         {"1kb", "1K", "1 KB", "1TB", "1.5GB", "1.5%", "50 %", "max", "MAXIMUM", "", "-1", "12 3", "0x10",
          "MAX-1 %", "MAX-1kb", "MAX--1", "MAX-", "MIN+MAX"}},
        {"no: Input range start/end value operand is not a valid positive integer",
         {"18446744073709551616KB", "MAX-0", "MIN+0", "MAX-0KB", "MIN+0%", "MAX-18446744073709551616"}},
        {"no: unable to parse input percentage", {"18446744073709551616%"}},
        {"no: Invalid input range, percentage value >= 100", {"100%", "150%", "MAX-100%"}},
        // 2^64 bytes: nothing is left.
        {"no: Invalid input range, overflow detected",
         {"18014398509481984KB", "17179869184GB", "MIN+18014398509481984KB"}},
        // The direction is judged before the operand is.
        {"no: Input range attempts to increment beyond end of drive", {"MAX+1", "MAX+0"}},
        {"no: Input range attempts to decrement beyond start of drive",
         {"MIN-1", "MIN-18446744073709551616"}},
    };
    for (const auto& c : cases)
        for (const std::string& text : c.ranges) {
            const auto slash = text.find('/');
            const std::uint32_t sectorSize = slash == std::string::npos ? 512 : 4096;
            EXPECT_EQ(outcome(text.substr(0, slash), 1000, sectorSize), c.outcome) << text;
        }
}

TEST(RangeString, TakesTextsOfAnyLength) {
    const std::string blanks(1000000, ' ');
    EXPECT_EQ(outcome(blanks + "5" + blanks, 1000, 512), "5");
    EXPECT_EQ(outcome("MIN" + blanks + "+" + std::string(2000, '0') + "1KB", 1000, 512), "2");
    EXPECT_EQ(outcome(std::string(2000, '9'), 1000, 512), "no");
    EXPECT_EQ(outcome(blanks, 1000, 512), "no: Invalid input range");
}

TEST(RangeString, RoundsPercentagesDownAndWrapsTheirProduct) {
    EXPECT_EQ(outcome("50%", 1001, 512), "500");
    // 3 * 2^63 is 2^63, 50 * 2^63 is 0.
    EXPECT_EQ(outcome("3%", 9223372036854775808U, 512), "92233720368547758");
    EXPECT_EQ(outcome("50%", 9223372036854775808U, 512), "0");
}

TEST(RangeString, OfAnUnknownMediumIsRejectedWithoutTouchingTheOutput) {
    testing_support::RecordingHost host;
    std::uint64_t lba = 77;
    EXPECT_FALSE(parseRangeString("MIN", 0, 512, lba));
    EXPECT_FALSE(parseRangeString("junk", 1000, 0, lba));
    EXPECT_EQ(lba, 77U);
    const std::string line = kPrefix + "invalid sector size or sector count passed in";
    EXPECT_THAT(host.linesOf(kLogger, 4), ElementsAre(line, line));
    EXPECT_EQ(host.log.size(), 2U);
}

}  // namespace
}  // namespace libDriveTest
