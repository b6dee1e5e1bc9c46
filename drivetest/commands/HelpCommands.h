#pragma once

#include <string>

namespace CLI {
class App;
}

namespace drivetest {

/// The commands that tell of the command line itself, and the examples below each --help. Made of what the
/// program has, so that they agree with it: to be made when all else is there.
class HelpCommands {
public:
    explicit HelpCommands(CLI::App& program);
    HelpCommands(const HelpCommands&) = delete;
    HelpCommands& operator=(const HelpCommands&) = delete;

    /// Prints what was asked for, once the arguments are parsed, and gives the exit status.
    int print() const;

private:
    CLI::App& m_program;
    CLI::App* m_manual;
    CLI::App* m_completion;
    std::string m_shell;  ///< the parser writes to it
};

}  // namespace drivetest
