#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
class Validator;
}  // namespace CLI

namespace drivetest {

/// A sentence on what the parser refused, and on what to do. The program has parsed as far as it got.
std::string describeUsageError(const CLI::App& program, const CLI::ParseError& error);

/// A check of options that wants a whole number in these limits; it complains in a sentence.
CLI::Validator wholeNumber(unsigned long long least, unsigned long long most);
/// A check that wants a time such as 90s, 10min, 1.5h or 2d, at most 2^32-1 s; it leaves whole seconds.
CLI::Validator timeSpan();
/// A check that wants one of these words.
CLI::Validator oneOf(const std::vector<std::string>& words);

}  // namespace drivetest
