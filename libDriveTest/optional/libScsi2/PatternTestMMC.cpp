#include "PatternTestMMC.h"

#include "../../Events.h"
#include "../../Parameters.h"

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

String PatternTestMMC::warnOf(const DiagDevice& device, std::uint32_t openArgument1,
                              std::uint32_t openArgument2) {
    const auto drive = lookAt(device, MMCRW_ANY_RECORDABLE, openArgument1, openArgument2);
    Array<libDrive2::zel_write_speed_desc_t> speeds;
    if (drive == nullptr || !drive->getReadWriteSpeeds(speeds) || speeds.size() < 2)
        return {};
    const std::uint64_t seeks = parameters::numberOfSeeks.value();
    const auto fitting = drive->sectorsOfEach(speeds.size());
    if (!fitting || (seeks != 0 && seeks <= *fitting))
        return {};
    auto& text = *fitting != 0 ? *strings::mmcrwUsesUpMedium : *strings::mmcrwTooSmallMedium;
    text.setVariable("Speeds", std::uint64_t{speeds.size()})->setVariable("Sectors", *fitting);
    return text.localizedString().zelString();
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
