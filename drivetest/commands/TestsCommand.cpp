#include <algorithm>
#include <iomanip>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/run/Setup.h"
#include "drivetest/terminal/Console.h"
#include "quix5/ParameterText.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

const char* shortNameOf(const quix5::OfferedTest& test) {
    const char* const shortName = test.entry->traits.shortName;
    return shortName != nullptr ? shortName : "";
}

/// For programs: all that can be typed.
void printNames(const quix5::OfferedTest& test) {
    std::cout << test.descriptor.name().utf8() << '\n';
    if (test.entry->traits.shortName != nullptr)
        std::cout << shortNameOf(test) << '\n';
}

void printTest(const quix5::OfferedTest& test) {
    const std::string name = test.descriptor.name().utf8();
    std::cout << std::left << std::setw(26) << name << ' ' << std::setw(8) << shortNameOf(test) << ' '
              << (test.descriptor.isDestructive() ? zel::words("[writes]") + " " : "")
              << describeText("Test." + name) << '\n';
}

void printParameters(const quix5::Test& test) {
    std::size_t width = 0;
    for (const quix5::Parameter* parameter : test.parameters())
        width = std::max(width, parameter->name().length());
    std::cout << '\n' << zel::words("Parameters (-p NAME=VALUE):") << '\n';
    for (const quix5::Parameter* parameter : test.parameters()) {
        const std::string name = parameter->name().utf8();
        std::cout << "  " << std::left << std::setw(static_cast<int>(width)) << name << "  " << std::setw(7)
                  << quix5::typeName(parameter->type()) << "  " << describeText("Parameter." + name) << '\n';
    }
}

}  // namespace

int listTests(const TestsOptions& options) {
    std::string error;
    const auto module = loadModule(options.moduleFile, error);
    const quix5::OfferedTest* test = nullptr;
    if (module != nullptr && !options.test.empty())
        test = findTest(*module, options.test, error);
    if (!error.empty()) {
        complain(error);
        return kExitUsage;
    }
    if (options.namesOnly) {
        std::ranges::for_each(module->tests(), printNames);
        return kExitPass;
    }
    if (test != nullptr) {
        printTest(*test);
        printParameters(test->descriptor);
        return kExitPass;
    }
    for (const quix5::OfferedTest& offered : module->tests())
        printTest(offered);
    return kExitPass;
}

}  // namespace drivetest
