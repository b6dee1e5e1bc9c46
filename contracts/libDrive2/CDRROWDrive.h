#pragma once

#include "libDrive2/RecordableDrive.h"

namespace libDrive2 {

/// CD-RW formatted for restricted overwrite.
class CDRROWDrive : public RecordableDrive {
public:
    using RecordableDrive::RecordableDrive;

    _LIBDRIVE2_ERROR_TYPES prepareForWriting(const std::uint64_t& sectors) override;
    bool reserveSectors(const std::uint64_t& sectors) override;
    bool setWriteParameters(bool test) override;
    bool closeOpenTrack() override;
    bool closeOpenSession() override;
    std::uint64_t getFreeSectors() override;
    std::uint64_t getNextWriteAddress() override;
    std::uint32_t numCoincidentWriteSectors() override;
};

}  // namespace libDrive2
