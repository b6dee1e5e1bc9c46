#pragma once

#include <memory>

#include "libDrive2/DeviceOpeners.h"

namespace libDrive2 {

/// A device object over a pass-through path that it owns.
class PathSPCDevice : public ScsiSPCDevice {
public:
    explicit PathSPCDevice(std::unique_ptr<ScsiPassThrough> path) : m_path(std::move(path)) {}
    ScsiPassThrough& passThrough() override { return *m_path; }

private:
    std::unique_ptr<ScsiPassThrough> m_path;
};

}  // namespace libDrive2
