#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/plan/Plan.h"
#include "drivetest/plan/PlanDrives.h"
#include "drivetest/plan/PlanTests.h"
#include "drivetest/shelf/ShelfWork.h"
#include "quix5/Module.h"

namespace drivetest {

/// What a plan means on this machine, now.
struct ResolvedPlan {
    struct Test {
        const CheckedTest* checked;
        std::optional<quix5::TestOutlook> outlook{};
    };
    /// A drive, and its tests in their order.
    struct Drive {
        PresentDrive found;
        std::vector<Test> tests{};
    };

    /// Of a file. Nothing, with all that is wrong in `faults`, each a line "FILE:LINE:COLUMN: sentence". What
    /// a test is told nothing of is as `usual` has it. Opens the drives for a look, and writes nothing.
    static std::unique_ptr<ResolvedPlan> load(const std::string& path, const RunOptions& usual,
                                              std::vector<std::string>& faults);

    Plan plan;
    std::unique_ptr<quix5::Module> module;
    std::vector<CheckedTest> tests;
    std::vector<Drive> drives;  ///< as `work` has them
    ShelfWork work;
};

}  // namespace drivetest
