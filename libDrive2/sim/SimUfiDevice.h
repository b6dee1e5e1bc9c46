#pragma once

#include "libDrive2/sim/SimBlockTarget.h"

namespace libDrive2 {

/// A simulated USB floppy drive (UFI 1.0): few commands, all of 12 bytes. CDBs as long as their opcodes say
/// are taken too, as what carries them to a drive pads them.
class SimUfiDevice : public SimBlockTarget {
public:
    SimUfiDevice(std::shared_ptr<SimMedium> medium, bool writable);

protected:
    bool perform(SimScsiCommand& command) override;
    [[nodiscard]] bool isCdbLength(const SimScsiCommand& command, std::uint8_t bytes) const override {
        return bytes == 12 || bytes == command.opcodeBytes();
    }
    [[nodiscard]] bool supportsFua() const override { return false; }

private:
    void inquiry(SimScsiCommand& command);
    void readFormatCapacities(SimScsiCommand& command);
    void modeSense(SimScsiCommand& command);
};

}  // namespace libDrive2
