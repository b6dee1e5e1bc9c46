#pragma once

#include <memory>
#include <optional>
#include <string>

#include "drivetest/record/RunRecord.h"
#include "drivetest/run/OutputFile.h"
#include "drivetest/run/OutputQueue.h"
#include "drivetest/safety/HeldDrive.h"
#include "drivetest/safety/RunJournal.h"
#include "drivetest/safety/SafeStart.h"
#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// Everything that a run needs, checked before anything is touched.
struct PreparedRun {
    std::unique_ptr<quix5::Module> module;
    const quix5::OfferedTest* test = nullptr;
    quix5::DiagDevice device;
    HeldDrive held;                                     ///< of a test that writes; goes last
    std::unique_ptr<libDrive2::DeviceLease> readLease;  ///< of one that only reads; null where it got none
    bool writes = false;
    std::optional<Obstacle> obstacle;  ///< what the guard of tests that write will refuse
    RunJournal journal;
    OutputFile log;
    OutputFile events;
    OutputFile badList;
    std::string recordPath;
    std::shared_ptr<OutputQueue> logQueue;  ///< null without a log
    std::unique_ptr<RunRecord> record;      ///< null without one
};

inline bool isOptical(const quix5::OfferedTest& test) {
    return test.entry->needs == quix5::DeviceCapability::SCSIMMC;
}

}  // namespace drivetest
