#pragma once

#include <memory>

#include "libDrive2/sim/SimScsiCommand.h"
#include "libDrive2/sim/SimScsiTarget.h"

namespace libDrive2 {

/// What models of disks and floppies have in common: unit attentions, and the commands that mean the same
/// everywhere. A model of a kind derives from it and names the opcodes that it knows.
class SimBlockTarget : public SimScsiTarget {
protected:
    SimBlockTarget(std::shared_ptr<SimMedium> medium, bool writable, std::size_t maxTransferBytes)
        : SimScsiTarget(writable, maxTransferBytes), m_medium(std::move(medium)) {}

    [[nodiscard]] bool isWrite(std::uint8_t opcode) const override;
    SimFault beginCommand() override { return m_medium->beginCommand().fault; }
    void answer(const ScsiRequest& request, ScsiResponse& response) override;

    /// One opcode that a model knows.
    template <class Model>
    struct Entry {
        std::uint8_t opcode;
        void (Model::*handler)(SimScsiCommand& command);
    };
    template <class Model, std::size_t Count>
    static bool dispatch(Model& model, const Entry<Model> (&commands)[Count], SimScsiCommand& command) {
        for (const Entry<Model>& entry : commands) {
            if (entry.opcode != command.opcode())
                continue;
            (model.*entry.handler)(command);
            return true;
        }
        return false;
    }

    /// False for an opcode that the model does not know.
    virtual bool perform(SimScsiCommand& command) = 0;
    [[nodiscard]] virtual bool isCdbLength(const SimScsiCommand& command, std::uint8_t bytes) const {
        return bytes == command.opcodeBytes();
    }
    /// Whether transfers may ask to bypass the cache (FUA, DPO).
    [[nodiscard]] virtual bool supportsFua() const { return true; }

    void testUnitReady(SimScsiCommand& command);
    void requestSense(SimScsiCommand& command);
    void startStopUnit(SimScsiCommand& command);
    void preventAllowMediumRemoval(SimScsiCommand& command);
    void readCapacity10(SimScsiCommand& command);
    void readSectors(SimScsiCommand& command);
    void writeSectors(SimScsiCommand& command);
    void verifySectors(SimScsiCommand& command);
    void seekSector(SimScsiCommand& command);
    void synchronizeCache(SimScsiCommand& command);

    /// Whether the medium can be used; otherwise the command has failed.
    bool isReady(SimScsiCommand& command) const;
    [[nodiscard]] const SimMedium& medium() const { return *m_medium; }
    [[nodiscard]] SimHealth& health() const { return *m_medium->state().health; }

private:
    bool isTransferable(SimScsiCommand& command) const;
    bool reportUnitAttention(SimScsiCommand& command);
    void moveMedium(SimScsiCommand& command, bool load);

    std::shared_ptr<SimMedium> m_medium;
};

}  // namespace libDrive2
