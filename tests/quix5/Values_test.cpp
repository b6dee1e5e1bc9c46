#include <gtest/gtest.h>

#include "quix5/ParameterText.h"
#include "quix5/Runner.h"

namespace quix5 {
namespace {

TEST(TestResult, MergeKeepsTheWorseOfEveryPair) {
    using R = TestResult;
    const std::pair<R, std::string> fromBestToWorst[] = {{R(), "PASS"},
                                                         {R::WARN, "WARN"},
                                                         {R::NOTSUPPORTED, "NOTSUPPORTED"},
                                                         {R::NOMEDIA, "NOMEDIA"},
                                                         {R::INCORRECTMEDIA, "INCORRECTMEDIA"},
                                                         {R::DEVICEBUSY, "DEVICEBUSY"},
                                                         {R::CANNOTRUN, "CANNOTRUN"},
                                                         {R::MISCONFIGURED, "MISCONFIGURED"},
                                                         {R::BADPARAMS, "BADPARAMS"},
                                                         {R::TIMEDOUT, "TIMEDOUT"},
                                                         {R::USERABORTED, "USERABORTED"},
                                                         {R::FAIL, "FAIL"},
                                                         {R::INTERNALERROR, "INTERNALERROR"}};
    for (const auto& first : fromBestToWorst)
        for (const auto& second : fromBestToWorst) {
            R merged = first.first;
            merged.merge(second.first);
            EXPECT_EQ(merged.name(), (&first > &second ? first : second).second);
        }
}

/// The text form of the value that a text gives, "(none)" for none.
std::string parsed(DataType type, const char* text) {
    const auto value = parseValue(type, text);
    EXPECT_EQ(value.value_or(Value()).type(), value ? type : DataType::STRING) << text;
    return value ? value->valueString().zelString().utf8() : "(none)";
}

TEST(ParameterText, ParsesValues) {
    const struct {
        DataType type;
        const char* value;
        std::vector<const char*> texts;
    } cases[] = {
        {DataType::STRING, " a,b ", {" a,b "}},
        {DataType::BOOLEAN, "true", {"TRUE", "yes", "On", "1"}},
        {DataType::BOOLEAN, "false", {"False", "NO", "off", "0"}},
        {DataType::BOOLEAN, "(none)", {"", "2", "truee", " true", "y"}},
        {DataType::UINT32, "4294967295", {"4294967295", "0xffffffff", "04294967295"}},
        {DataType::UINT32,
         "(none)",
         {"", "4294967296", "0x100000000", "-1", "+1", "1.0", " 1", "1k", "0x", "1e3"}},
        {DataType::UINT64, "18446744073709551615", {"18446744073709551615", "0xFFFFFFFFFFFFFFFF"}},
        {DataType::UINT64, "(none)", {"", "18446744073709551616", "-1", "0x1FFFFFFFFFFFFFFFF", "FF"}},
        {DataType::DOUBLE, "-1000", {"-1000", "-1e3", "-1000.0"}},
        {DataType::DOUBLE,
         "(none)",
         {"", "nan", "inf", "-inf", "1e999", "1,5", "1.5x", " 1.5", "0x10", "5%"}},
        {DataType::PERCENT, "12.5", {"12.5", "12.5%"}},
        {DataType::PERCENT, "0", {"0", "0%"}},
        {DataType::PERCENT,
         "(none)",
         {"", "%", "nan", "nan%", "inf", "-1", "-0.5%", "5%%", "5 %", "%5", "five"}}};
    for (const auto& c : cases)
        for (const char* text : c.texts)
            EXPECT_EQ(parsed(c.type, text), c.value) << typeName(c.type) << " " << text;
}

TEST(IsOffered, UnlessAPropertyExcludesTheDevice) {
    quix5::Test test("t");
    test.addDevicePropertyExclusion("Disable", Value(""))->addDevicePropertyExclusion("Bus", Value("usb"));
    const auto offered = [&test](const char* property, const char* value) {
        DiagDevice device;
        device.setProperty(property, Value(value));
        return isOffered(test, device);
    };
    EXPECT_TRUE(isOffered(test, DiagDevice()) && offered("Other", "usb") && offered("disable", ""));
    EXPECT_FALSE(offered("Disable", "") || offered("Disable", "0"));
    EXPECT_FALSE(offered("Bus", "usb"));
    EXPECT_TRUE(offered("Bus", "sata") && offered("Bus", ""));
}

}  // namespace
}  // namespace quix5
