#include "drivetest/run/ChildProcess.h"

#include "zel/Path.h"

namespace drivetest {

std::string findProgram(const std::vector<std::string>& names) {
    for (const std::string& name : names)
        for (const std::string& folder : programFolders()) {
            const auto place = zel::pathOf(folder) / zel::pathOf(name + std::string(programSuffix()));
            // Never one that lies where the program happens to be called.
            if (place.is_absolute() && zel::isRegularFile(zel::textOf(place)))
                return zel::textOf(place);
        }
    return {};
}

}  // namespace drivetest
