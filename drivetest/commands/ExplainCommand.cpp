#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/findings/Explanation.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"

namespace drivetest {

int explainRecord(const std::string& record) {
    std::string problem;
    const auto run = readRecord(record, problem);
    if (!run) {
        complain(problem);
        return kExitUsage;
    }
    for (const std::string& line : explainRun(*run))
        std::cout << printable(line) << '\n';
    return kExitPass;
}

}  // namespace drivetest
