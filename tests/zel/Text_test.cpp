#include <gmock/gmock.h>

#include "zel/Format.h"
#include "zel/Regex.h"
#include "zel/ZELValue.h"

namespace zel {
namespace {

TEST(String, DecodesUtf8) {
    const std::pair<std::string_view, std::u16string> cases[] = {
        {"aé€😀\xEF\xBF\xBF\xF4\x8F\xBF\xBF", u"aé€😀\xFFFF\U0010FFFF"},
        {{"a\0b", 3}, {u'a', 0, u'b'}},
        {"a\x80\xFFz", u"a\xFFFD\xFFFDz"},
        {"a\xE2\x82z\xC3\xC3\xA9", u"a\xFFFDz\xFFFD\x00E9"},  // what cuts a character short is kept
        {"a\xF0\x9F\x98", u"a\xFFFD"}};
    for (const auto& [bytes, units] : cases)
        EXPECT_EQ(String(bytes).units(), units) << testing::PrintToString(bytes);
    // Too long forms, halves of pairs and what lies beyond the last character.
    for (const char* text :
         {"\xC0\xAF", "\xE0\x80\xAF", "\xF0\x80\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"})
        EXPECT_THAT(String(text).units(), testing::Each(char16_t{0xFFFD})) << testing::PrintToString(text);
}

TEST(String, EncodesUtf8) {
    EXPECT_EQ(String(u"\x7F\x80\x7FF\x800\xFFFF").utf8(), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
    EXPECT_EQ(String(u"\U00010000\U0010FFFF").utf8(), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(String(std::u16string{0xD800, 'a', 0xDE00, 0xD83D}).utf8(), "\uFFFDa\uFFFD\uFFFD");
    EXPECT_EQ(String(std::u16string{0xD83D, 0xD83D, 0xDE00}).utf8(), "\uFFFD😀");
}

/// What a text gives as a 64-bit and as a 32-bit number; 77, which was there before, where it is none.
std::string numbers(const char* text, unsigned radix) {
    std::uint64_t wide = 77;
    std::uint32_t narrow = 77;
    const bool isWide = String(text).strToUInt64(wide, radix);
    const bool isNarrow = String(text).toUint32(narrow, radix);
    EXPECT_TRUE(isWide == (wide != 77) && isNarrow == (narrow != 77)) << text;
    return std::to_string(wide) + " " + std::to_string(narrow);
}

TEST(String, ParsesNumbersUpToTheirLimits) {
    EXPECT_EQ(numbers("0042", 10), "42 42");
    EXPECT_EQ(numbers("4294967295", 10), "4294967295 4294967295");
    EXPECT_EQ(numbers("4294967296", 10), "4294967296 77");
    EXPECT_EQ(numbers("18446744073709551615", 0), "18446744073709551615 77");
    EXPECT_EQ(numbers("0XffFFFFFFFFFFFFFF", 0), "18446744073709551615 77");
    EXPECT_EQ(numbers("017", 0) + ", " + numbers("fF", 16) + ", " + numbers("zz", 36),
              "17 17, 255 255, 1295 1295");
    for (const char* text :
         {"", "-1", "+1", " 1", "1 ", "1.0", "FF", "0x", "0x-1", "0x0x1", "١", "1ı", "18446744073709551616"})
        EXPECT_EQ(numbers(text, 0), "77 77") << text;
    EXPECT_EQ(numbers("0x2", 16) + ", " + numbers("0XfF", 16), "2 2, 255 255");
    EXPECT_EQ(numbers("0x", 16), "77 77");
    for (const unsigned radix : {1U, 2U, 10U, 37U})
        EXPECT_EQ(numbers("0x2", radix), "77 77") << radix;
}

TEST(String, TokenizesKeepingEmptyPiecesAndReplacesOnce) {
    EXPECT_EQ(String(",a;,b,").tokenize(",;"), (Array<String>{"", "a", "", "b", ""}));
    EXPECT_EQ(String("a,b").tokenize(""), (Array<String>{"a,b"}));
    EXPECT_TRUE(String("").tokenize(",").isEmpty());
    EXPECT_EQ(String("aXbX").replace("X", "--"), "a--b--");
    EXPECT_EQ(String("aaa").replace("aa", "b"), "ba");
    EXPECT_EQ(String("aaa").replace("a", "aa"), "aaaaaa");
    EXPECT_EQ(String("abc").replace("", "x"), "abc");
}

TEST(Format, FillsConversions) {
    const std::uint64_t largest = 18446744073709551615U;
    EXPECT_EQ(format("%I64u|%llu|%u", largest, 5U, largest), "18446744073709551615|5|18446744073709551615");
    EXPECT_EQ(format("%08X %02Xh %02Xh", 0xABCDEFU, std::uint8_t{7}, 0x1234U), "00ABCDEF 07h 1234h");
    EXPECT_EQ(format("%08I64x", std::uint64_t{0x123456789A}), "123456789a");
    EXPECT_EQ(format("%.2f %.0f %.1f", 2.345678, 2.6, 1), "2.35 3 1.0");
    EXPECT_EQ(format("%i %d %u", -5, std::int64_t{-9000000000}, std::uint16_t{65535}),
              "-5 -9000000000 65535");
    EXPECT_EQ(format("[%5u][%-5u][%05i][%-3s]", 42U, 42U, -42, "a"), "[   42][42   ][-0042][a  ]");
    EXPECT_EQ(format("%s, %s, %s, %s, %u", "text", String("größer"), 7U, 0.5, "%u"),
              "text, größer, 7, 0.5, %u");
    EXPECT_EQ(format("100%%, %u%%", 5U), "100%, 5%");
    EXPECT_EQ(format("%u %08X %s", 1U), "1 %08X %s");
    EXPECT_EQ(format("%k %u %", 1U), "%k 1 %");
    EXPECT_EQ(format("end %08", 1U), "end %08");
    EXPECT_EQ(format("%s", std::string(100000, 'x')).length(), 100000U);
}

/// The value as bool, 32 bits, 64 bits and double, 0 where it does not convert, and as text.
std::string forms(const ZELValue& value) {
    bool truth = false;
    std::uint32_t narrow = 0;
    std::uint64_t wide = 0;
    double real = 0;
    (void)(value.get(truth), value.get(narrow), value.get(wide), value.get(real));
    return format("%u %u %u %.1f %s", truth, narrow, wide, real, value.text()).utf8();
}

TEST(ZELValue, ConvertsWithoutLossOrNotAtAll) {
    EXPECT_EQ(forms(ZELValue()), "0 0 0 0.0 ");
    EXPECT_EQ(forms(ZELValue(true)), "1 0 0 0.0 true");
    EXPECT_EQ(forms(ZELValue(4294967295U)), "0 4294967295 4294967295 4294967295.0 4294967295");
    EXPECT_EQ(forms(ZELValue(std::uint64_t{4294967295})), "0 4294967295 4294967295 4294967295.0 4294967295");
    EXPECT_EQ(forms(ZELValue(18446744073709551615U)), "0 0 18446744073709551615 0.0 18446744073709551615");
    EXPECT_EQ(forms(ZELValue(0.5)), "0 0 0 0.5 0.5");
    EXPECT_EQ(forms(ZELValue(String("5"))), "0 0 0 0.0 5");
    EXPECT_EQ(ZELValue(100.0).text(), "100");
    EXPECT_EQ(ZELValue(0.1).text(), "0.1");
    EXPECT_EQ(ZELValue(false).text(), "false");
    String text("before");
    EXPECT_TRUE(!ZELValue().get(text) && text == "before" && ZELValue(7U).get(text) && text == "7");
}

TEST(Matcher, MatchesTheWholeTextAndGivesItsGroups) {
    const Regex range("([0-9]+)(?:-([0-9]+))?");
    const Matcher both(range, "12-345"), single(range, "7");
    EXPECT_TRUE(both.matches() && single.matches());
    EXPECT_EQ(both.group(0) + "|" + both.group(1) + "|" + both.group(2) + "|" + both.group(3),
              "12-345|12|345|");
    EXPECT_EQ(single.group(2), "");
    for (const char* text : {"", "x12-345", "12-345x", "12-", "12\n"})
        EXPECT_FALSE(Matcher(range, text).matches()) << text;
    EXPECT_FALSE(Matcher(Regex("([0-9]"), "1").matches());
    const std::u16string deep(300000, u'\u20AC');  // three bytes each
    EXPECT_TRUE(Matcher(Regex("(?:.|b)*"), String(deep)).matches());
    EXPECT_FALSE(Matcher(Regex("(?:[^x]|b)*"), String(deep + u"x")).matches());
}

}  // namespace
}  // namespace zel
