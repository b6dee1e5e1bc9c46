#include "drivetest/run/OutputFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace drivetest {

namespace fs = std::filesystem;

namespace {

/// Why the path must not be written to; empty when it may.
std::string checkHarmless(const std::string& path, const std::string& testedDevice) {
    std::error_code ignored;
    if (fs::is_block_file(path, ignored))
        return "it is a drive; name a file";
    if (fs::equivalent(path, testedDevice, ignored))
        return "it is what is to be tested; name another file";
    return {};
}

}  // namespace

void CloseOutput::operator()(std::FILE* file) const {
    if (file != stdout)
        std::fclose(file);
}

OutputFile openOutput(const char* what, const std::string& path, const std::string& testedDevice,
                      std::string& error) {
    if (path == "-")
        return OutputFile(stdout);
    std::string problem = checkHarmless(path, testedDevice);
    OutputFile file(problem.empty() ? std::fopen(path.c_str(), "wb") : nullptr);
    if (file == nullptr && problem.empty())
        problem = std::generic_category().message(errno);
    if (file == nullptr)
        error = std::string(what) + " cannot be written to " + path + ": " + problem;
    return file;
}

}  // namespace drivetest
