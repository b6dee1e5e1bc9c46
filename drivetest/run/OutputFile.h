#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace drivetest {

struct CloseOutput {
    void operator()(std::FILE* file) const;
};
/// An open file to write to, or standard output.
using OutputFile = std::unique_ptr<std::FILE, CloseOutput>;

/// Opens a file for `what` ("the record"), replacing what it held; "-" is standard output. Never a drive, nor
/// the image file under test: those hold data. Empty on failure; `error` then says why.
OutputFile openOutput(const char* what, const std::string& path, const std::string& testedDevice,
                      std::string& error);

}  // namespace drivetest
