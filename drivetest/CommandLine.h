#pragma once

namespace drivetest {

/// Parses the arguments, runs the command they name, and gives the exit status.
int runCommandLine(int argc, char** argv);

}  // namespace drivetest
