#include "libDrive2/DriveIdentity.h"

#include "zel/Format.h"

namespace libDrive2 {

zel::String DriveIdentity::describe() const {
    return zel::format(
        "%s, %s, %u sectors of %u bytes", model.isEmpty() ? zel::String("unknown model") : model,
        serial.isEmpty() ? zel::String("no serial number") : "serial number " + serial, sectors, sectorBytes);
}

}  // namespace libDrive2
