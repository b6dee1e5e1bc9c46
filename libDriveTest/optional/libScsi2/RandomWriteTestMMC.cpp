#include "RandomWriteTestMMC.h"

#include <algorithm>
#include <numeric>

namespace libDriveTest {

namespace {

constexpr const char* kName = "RandomWriteTestMMC";
constexpr std::uint64_t kDefaultUnits = 100;

}  // namespace

RandomWriteTestMMC::RandomWriteTestMMC(RecordableDrive& tested)
    : OpticalWriteTest(tested, kName), m_generator(std::random_device()()) {}
RandomWriteTestMMC::RandomWriteTestMMC(SharedRecordableDrive tested)
    : OpticalWriteTest(std::move(tested), kName), m_generator(std::random_device()()) {}
RandomWriteTestMMC::~RandomWriteTestMMC() = default;

void RandomWriteTestMMC::init(Test& test) {
    DriveTestMMCRW::init(test);
    test.setDestructive(true);
}

String RandomWriteTestMMC::refuseMedium() {
    return recordableDrive().prepareAnyOrder() ? ""
                                               : "the medium takes its sectors only one behind the other";
}

std::uint64_t RandomWriteTestMMC::sectorsToPrepare(const Settings& /*settings*/) const {
    return 0;
}

void RandomWriteTestMMC::plan(const Settings& settings, std::uint64_t freeSectors, Recording& recording) {
    if (recording.unit == 0)
        return;
    m_units.resize(freeSectors / recording.unit);
    std::iota(m_units.begin(), m_units.end(), std::uint64_t{0});
    recording.area = m_units.size() * recording.unit;
    const std::uint64_t wanted = settings.seeks != 0 ? settings.seeks : kDefaultUnits;
    std::shuffle(m_units.begin(), m_units.end(), m_generator);
    m_units.resize(std::min<std::uint64_t>(wanted, m_units.size()));
    recording.count = m_units.size() * recording.unit;
}

std::uint64_t RandomWriteTestMMC::offsetOf(const Recording& recording, std::uint64_t k) const {
    return m_units.at(k) * recording.unit;
}

}  // namespace libDriveTest
