#include "drivetest/plan/PlanJson.h"

#include <string>

#include "drivetest/devices/Drives.h"
#include "drivetest/plan/PlanTime.h"
#include "drivetest/safety/SafeStart.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {

namespace {

const char* nameOf(OnFailure action) {
    switch (action) {
        case OnFailure::stopDrive:
            return "stop-drive";
        case OnFailure::stopAll:
            return "stop-all";
        case OnFailure::goOn:
            break;
    }
    return "go-on";
}

Json describe(const ResolvedPlan::Test& test, const quix5::DiagDevice& device) {
    Json described{{"label", test.checked->planned->label},
                   {"test", test.checked->test->descriptor.name().utf8()},
                   {"runs", test.checked->planned->repeats},
                   {"writes", test.checked->writes},
                   {"putsBack", test.checked->preserves}};
    if (const auto time = timeOf(test, device)) {
        described["seconds"] = time->time.count();
        described["secondsAre"] = time->isLimit ? "atMost" : time->isLeast ? "atLeast" : "about";
    }
    return described;
}

Json describe(const ResolvedPlan::Drive& drive, const DriveWork& work) {
    const quix5::DiagDevice& device = drive.found.device;
    Json described{{"locator", work.device},
                   {"model", textProperty(device, quix5::kPropertyModel)},
                   {"serial", textProperty(device, quix5::kPropertySerial)},
                   {"firmware", textProperty(device, quix5::kPropertyFirmware)},
                   {"bytes", numberProperty(device, quix5::kPropertyBytes)},
                   {"confirm", confirmationOf(device)},
                   {"inUseBy", drive.found.users},
                   {"tests", Json::array()}};
    if (!work.refusal.empty())
        described["refused"] = work.refusal;
    for (const ResolvedPlan::Test& test : drive.tests)
        described["tests"].push_back(describe(test, device));
    return described;
}

}  // namespace

Json describePlan(const ResolvedPlan& plan) {
    Json described{{"onFailure", nameOf(plan.plan.onFailure)},
                   {"repeats", plan.plan.repeats},
                   {"confirmed", Json::array()},
                   {"drives", Json::array()}};
    for (const TomlText& confirmed : plan.plan.confirmed)
        described["confirmed"].push_back(confirmed.text);
    for (std::size_t i = 0; i < plan.drives.size(); ++i)
        described["drives"].push_back(describe(plan.drives[i], plan.work.drives[i]));
    return described;
}

}  // namespace drivetest
