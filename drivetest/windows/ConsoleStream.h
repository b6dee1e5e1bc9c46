#pragma once

#include <sstream>

#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// What a C++ stream prints on a console, which takes UTF-8 only in one of its many code pages.
class ConsoleStream : public std::stringbuf {
public:
    explicit ConsoleStream(int descriptor) : m_console(OutputFile::borrow(descriptor)) {}

protected:
    int sync() override {
        const bool written = m_console.write(view());
        str({});
        return written ? 0 : -1;
    }

private:
    OutputFile m_console;
};

}  // namespace drivetest
