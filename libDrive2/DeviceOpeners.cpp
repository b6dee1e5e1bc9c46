#include "libDrive2/DeviceOpeners.h"

#include "libDrive2/OpenError.h"
#include "libDrive2/PlatformOpeners.h"
#include "libDrive2/sim/SimBlockHandle.h"
#include "libDrive2/sim/SimLocator.h"
#include "zel/Log.h"

namespace libDrive2 {

namespace {

thread_local zel::String lastOpenError;

}  // namespace

void noteOpenError(const zel::String& text) {
    lastOpenError = text;
    zel::LogFactory::createLogger("libDrive2.DeviceOpeners").line(4, text);
}

zel::String lastOpenErrorStr() {
    return lastOpenError;
}

SharedBlockHandle OsDevice::openOsDevice(const zel::String& locator, std::uint32_t desiredAccess,
                                         std::uint32_t shareMode, std::uint32_t disposition,
                                         std::uint32_t flags) {
    if (disposition != kOpenExisting || flags != 0) {
        noteOpenError(locator + ": devices can only be opened as they are");
        return {};
    }
    if (isSimLocator(locator))
        return SharedBlockHandle(openSimBlockDevice(locator, desiredAccess));
    return SharedBlockHandle(openPlatformBlockDevice(locator, desiredAccess, shareMode));
}

zel::String checkLocator(const zel::String& locator) {
    zel::String error;
    if (isSimLocator(locator))
        (void)parseSimLocator(locator, error);
    return error;
}

}  // namespace libDrive2
