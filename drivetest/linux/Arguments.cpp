#include "drivetest/commands/Arguments.h"

namespace drivetest {

std::vector<std::string> programArguments(int argc, char** argv) {
    return {argv, argv + argc};
}

}  // namespace drivetest
