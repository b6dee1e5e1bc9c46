#include "libDrive2/drives/DriveAction.h"

#include "zel/Format.h"

namespace libDrive2 {

zel::String describe(const DriveAction& action, const zel::String& name) {
    zel::String text = action.what;
    if (action.count == 1)
        text += zel::format(" sector %u", action.lba);
    else if (action.count > 1)
        text += zel::format(" sectors %u through %u", action.lba, action.lba + action.count - 1);
    return name.isEmpty() ? text : text + " of " + name;
}

}  // namespace libDrive2
