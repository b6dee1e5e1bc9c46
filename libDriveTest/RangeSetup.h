#pragma once

#include <initializer_list>
#include <source_location>

#include "RangePlan.h"
#include "SharedParameter.h"
#include "quix5/TestResult.h"
#include "zel/Log.h"

namespace libDriveTest {

/// Raises `invalidParameters` with the items, logs it, and gives BADPARAMS.
quix5::TestResult reportInvalidParameters(zel::Logger& logger, std::initializer_list<zel::String> items,
                                          std::source_location where = std::source_location::current());

/// The two parameters that name a range.
struct RangeParameters {
    const SharedParameter<zel::String>& start;
    const SharedParameter<zel::String>& end;
};

/// Makes a test's plan of what its parameters say, over the size of the drive, which the plan holds already.
/// PASS to go on; anything else, which was reported, is the test's result.
class RangeSetup {
public:
    explicit RangeSetup(zel::Logger& logger) : m_logger(logger) {}

    /// The texts of a range.
    quix5::TestResult parse(const RangeParameters& given, RangePlan& plan) const;
    /// The range against the drive's size, which gives all of it to test.
    quix5::TestResult check(const RangeParameters& given, RangePlan& plan) const;
    /// Both for StartRange and EndRange.
    quix5::TestResult takeWhole(RangePlan& plan) const;
    /// And the share of it that the read, seek and pattern tests take.
    quix5::TestResult takeShare(RangePlan& plan) const;

private:
    zel::Logger& m_logger;
};

}  // namespace libDriveTest
