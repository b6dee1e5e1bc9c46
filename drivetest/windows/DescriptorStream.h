#pragma once

#include <sstream>

#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// What a C++ stream prints where the C library cannot help: on a console, which takes UTF-8 only in one of
/// its many code pages, and in the place of a standard stream that the process was not given.
class DescriptorStream : public std::stringbuf {
public:
    explicit DescriptorStream(int descriptor) : m_file(OutputFile::borrow(descriptor)) {}

protected:
    int sync() override {
        const bool written = m_file.write(view());
        str({});
        return written ? 0 : -1;
    }

private:
    OutputFile m_file;
};

}  // namespace drivetest
