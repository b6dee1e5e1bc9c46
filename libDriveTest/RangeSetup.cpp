#include "RangeSetup.h"

#include "Events.h"
#include "Parameters.h"
#include "RangeString.h"

namespace libDriveTest {

using quix5::TestResult;

namespace {

/// Reads the share of the range to test; false when the percentage is no share.
bool readFraction(double& fraction) {
    const double percent =
        parameters::numberOfSeeks.value() != 0 ? 100.0 : parameters::sectorPercentToTest.value();
    fraction = percent / 100.0;
    return fraction != 0.0 && !(fraction > 1.0);
}

std::uint64_t countSectors(const RangePlan& plan) {
    const std::uint64_t share = toUnsigned(static_cast<double>(plan.endLba - plan.startLba) * plan.fraction);
    const std::uint64_t cap = parameters::numberOfSeeks.value();
    return cap != 0 && cap < share ? cap : share;
}

}  // namespace

TestResult reportInvalidParameters(zel::Logger& logger, std::initializer_list<zel::String> items,
                                   std::source_location where) {
    zel::String text;
    for (const zel::String& item : items)
        text += (text.isEmpty() ? "" : ", ") + item;
    events::invalidParameters->setVariable("params", text);
    quix5::DiagModule::error(events::invalidParameters.get(), where.file_name(),
                             static_cast<int>(where.line()));
    if (logger.allows(4))
        logger.line(4, events::invalidParameters->localizedMessage());
    return TestResult::BADPARAMS;
}

TestResult RangeSetup::parse(const RangeParameters& given, RangePlan& plan) const {
    if (!parseRangeString(given.start.value(), plan.sectorCount, plan.sectorSize, plan.startLba))
        return reportInvalidParameters(m_logger, {given.start.item()});
    if (!parseRangeString(given.end.value(), plan.sectorCount, plan.sectorSize, plan.endLba))
        return reportInvalidParameters(m_logger, {given.end.item()});
    return TestResult::PASS;
}

TestResult RangeSetup::check(const RangeParameters& given, RangePlan& plan) const {
    if (plan.endLba > plan.sectorCount) {
        m_logger.line(
            3,
            "The EndRange for testing is set a value greater then the capacity of the device, setting this "
            "to the drive capacity");
        plan.endLba = plan.sectorCount;
    }
    if (plan.endLba <= plan.startLba || plan.sectorCount <= plan.startLba)
        return reportInvalidParameters(m_logger, {given.start.item(), given.end.item()});
    plan.sectorsToTest = plan.endLba - plan.startLba;
    return TestResult::PASS;
}

TestResult RangeSetup::takeWhole(RangePlan& plan) const {
    const RangeParameters given{parameters::startRange, parameters::endRange};
    if (const TestResult parsed = parse(given, plan); parsed != TestResult::PASS)
        return parsed;
    return check(given, plan);
}

TestResult RangeSetup::takeShare(RangePlan& plan) const {
    using namespace parameters;
    const RangeParameters given{startRange, endRange};
    if (const TestResult parsed = parse(given, plan); parsed != TestResult::PASS)
        return parsed;
    if (!readFraction(plan.fraction))
        return reportInvalidParameters(m_logger, {sectorPercentToTest.item()});
    if (const TestResult checked = check(given, plan); checked != TestResult::PASS)
        return checked;
    plan.sectorsToTest = countSectors(plan);
    if (plan.sectorsToTest == 0)
        return reportInvalidParameters(
            m_logger, {startRange.item(), endRange.item(), numberOfSeeks.item(), sectorPercentToTest.item()});
    return TestResult::PASS;
}

}  // namespace libDriveTest
