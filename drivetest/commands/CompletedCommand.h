#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace drivetest {

/// What a shell can offer for a word.
enum class WordKind { none, text, file, folder, test, shell };

struct CompletedOption {
    std::vector<std::string> shortNames;  ///< without dashes, as the long ones
    std::vector<std::string> longNames;
    WordKind value;  ///< none: a flag
    std::string valueName;
    std::string help;  ///< one line
};

struct CompletedWord {
    std::string name;
    WordKind kind;
    bool repeats;
};

/// What a command line may hold behind the name of a command.
struct CompletedCommand {
    std::string name;
    std::string help;
    std::vector<CompletedOption> options;
    std::vector<CompletedWord> words;  ///< in the order in which they are given
};

/// Of the program itself, with its name, or of one of its commands.
CompletedCommand completedCommand(const CLI::App& app);
std::vector<CompletedCommand> completedCommands(const CLI::App& program);

/// A script for one shell each.
std::string bashCompletion(const CompletedCommand& program, const std::vector<CompletedCommand>& commands);
std::string zshCompletion(const CompletedCommand& program, const std::vector<CompletedCommand>& commands);
std::string fishCompletion(const CompletedCommand& program, const std::vector<CompletedCommand>& commands);

}  // namespace drivetest
