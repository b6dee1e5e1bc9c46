#include "drivetest/CommandLine.h"

int main(int argc, char** argv) {
    return drivetest::runCommandLine(argc, argv);
}
