#include "libDrive2/drives/DriveAction.h"

namespace libDrive2 {

zel::Wording describe(const DriveAction& action, const zel::String& name) {
    zel::Wording sectors;
    if (action.count == 1)
        sectors = zel::worded("sector {lba}", {{"lba", action.lba}});
    else if (action.count > 1)
        sectors = zel::worded("sectors {first} through {last}",
                              {{"first", action.lba}, {"last", action.lba + action.count - 1}});
    zel::Wording text = zel::worded(action.what, {{"sectors", sectors}});
    return name.isEmpty() ? text : zel::worded("{action} of {drive}", {{"action", text}, {"drive", name}});
}

std::function<zel::Wording()> failureOf(const DriveAction& action, zel::String name, zel::Wording reason) {
    return [action, name = std::move(name), reason = std::move(reason)] {
        return zel::worded("{action} failed: {reason}",
                           {{"action", describe(action, name)}, {"reason", reason}});
    };
}

std::function<zel::Wording()> recoveryOf(const DriveAction& action, zel::String name, zel::Wording reason) {
    return [action, name = std::move(name), reason = std::move(reason)] {
        return zel::worded("{action} needed recovery by the drive: {reason}",
                           {{"action", describe(action, name)}, {"reason", reason}});
    };
}

}  // namespace libDrive2
