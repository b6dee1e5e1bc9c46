#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/report/OutputFormats.h"
#include "drivetest/report/RunReporters.h"
#include "drivetest/safety/HeldDrive.h"
#include "drivetest/safety/RunJournal.h"
#include "drivetest/safety/SafeStart.h"
#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// A file that the user named for a format, or that is kept unasked.
struct NamedOutput {
    const OutputFormat* format;
    std::string path;
    OutputFile file;
};

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
    std::vector<NamedOutput> outputs;
    RunReporters reporters;
};

inline bool isOptical(const quix5::OfferedTest& test) {
    return test.entry->traits.needs == quix5::DeviceCapability::SCSIMMC;
}

}  // namespace drivetest
