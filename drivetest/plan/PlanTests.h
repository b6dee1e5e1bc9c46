#pragma once

#include <optional>
#include <vector>

#include "drivetest/plan/Plan.h"
#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// A plan's test as the module has it, with what is to be told of it.
struct CheckedTest {
    const PlannedTest* planned = nullptr;
    const quix5::OfferedTest* test = nullptr;  ///< null after a fault
    RunOptions options{};                      ///< but for the drive
    std::vector<PlannedValue> values{};        ///< of all parameters that are set
    bool writes = false;
    bool preserves = false;  ///< puts back what it overwrites
};

/// All tests of the plan, as it has them; `faults` gets what they refuse. The plan must outlive them, and the
/// module.
std::vector<CheckedTest> checkTests(const quix5::Module& module, const Plan& plan,
                                    std::vector<PlanFault>& faults);

/// What it would come to on this drive; nothing where nobody can tell. Not for one with faults.
std::optional<quix5::TestOutlook> foresee(const CheckedTest& checked, const quix5::DiagDevice& device);

}  // namespace drivetest
