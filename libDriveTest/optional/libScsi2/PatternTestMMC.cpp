#include "PatternTestMMC.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "PatternTestMMC";

}  // namespace

PatternTestMMC::PatternTestMMC(RecordableDrive& tested) : OpticalWriteTest(tested, kName) {}
PatternTestMMC::PatternTestMMC(SharedRecordableDrive tested) : OpticalWriteTest(std::move(tested), kName) {}
PatternTestMMC::~PatternTestMMC() = default;

void PatternTestMMC::init(Test& test) {
    DriveTestMMCRW::init(test);
    test.setDestructive(true);
}

std::uint64_t PatternTestMMC::sectorsToPrepare(const Settings& settings) const {
    return settings.seeks;
}

void PatternTestMMC::plan(const Settings& settings, std::uint64_t freeSectors, Recording& recording) {
    if (recording.unit == 0)
        return;
    const bool limits = settings.seeks != 0 && settings.seeks <= freeSectors;
    recording.count = limits ? settings.seeks : freeSectors;
    recording.count -= recording.count % recording.unit;
    recording.area = recording.count;
}

std::uint64_t PatternTestMMC::offsetOf(const Recording& recording, std::uint64_t k) const {
    return k * recording.unit;
}

}  // namespace libDriveTest
