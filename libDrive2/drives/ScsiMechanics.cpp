#include "libDrive2/ScsiMechanics.h"

#include <limits>

#include "libDrive2/OSDrive.h"
#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "zel/Words.h"

namespace libDrive2 {

/// Newer drives do not know SEEK any more; some know neither.
template <class Base>
_LIBDRIVE2_ERROR_TYPES ScsiMechanics<Base>::doSeekSector(std::uint64_t lba) {
    // SEEK(10) does not reach every sector of a large drive; one method for all keeps them comparable.
    const bool reachesAll =
        this->getSectorCount() <= std::uint64_t{std::numeric_limits<std::uint32_t>::max()} + 1;
    if (m_seekMethod == SeekMethod::seek && reachesAll) {
        const auto error = perform(scsi::seek(static_cast<std::uint32_t>(lba)), {kSeeking, lba, 1});
        if (error != LIBDRIVE2_NOT_SUPPORTED)
            return error;
        m_seekMethod = SeekMethod::verify;
    }
    if (m_seekMethod != SeekMethod::read) {
        const auto error = perform(scsi::verify(lba, 1), {kSeeking, lba, 1});
        if (error != LIBDRIVE2_NOT_SUPPORTED)
            return error;
        m_seekMethod = SeekMethod::read;
    }
    return Base::doSeekSector(lba);
}

template <class Base>
_LIBDRIVE2_ERROR_TYPES ScsiMechanics<Base>::doStartDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::start), {zel::marked("starting the motor")});
}
template <class Base>
_LIBDRIVE2_ERROR_TYPES ScsiMechanics<Base>::doStopDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::stop), {zel::marked("stopping the motor")});
}
template <class Base>
_LIBDRIVE2_ERROR_TYPES ScsiMechanics<Base>::doPreventMediumRemoval(bool prevent) {
    return perform(scsi::preventMediumRemoval(prevent),
                   {prevent ? zel::marked("locking the medium") : zel::marked("releasing the medium")});
}
template <class Base>
_LIBDRIVE2_ERROR_TYPES ScsiMechanics<Base>::doEjectDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::eject), {zel::marked("ejecting the medium")});
}
template <class Base>
_LIBDRIVE2_ERROR_TYPES ScsiMechanics<Base>::doLoadDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::load), {zel::marked("loading the medium")});
}

template class ScsiMechanics<Drive>;
template class ScsiMechanics<OSDrive>;

}  // namespace libDrive2
