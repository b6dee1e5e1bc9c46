#include "drivetest/run/StandardStreams.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

#include "drivetest/windows/ConsoleStream.h"
#include "drivetest/windows/StandardHandle.h"
#include "zel/windows/FileHandle.h"

namespace drivetest {

namespace {

constexpr int kInput = 0;
constexpr int kOutput = 1;
constexpr int kErrors = 2;

/// Why what is printed must not go there; empty when it may.
std::string checkStream(int descriptor, const char* name, const DataGuard& holdsData) {
    const HANDLE handle = handleOf(descriptor);
    if (fileTypeOf(descriptor) != FILE_TYPE_DISK)
        return {};
    const std::string sentence = std::string(name) + " must not be written to where it leads: ";
    if (!fileBehind(handle))
        return sentence + "it is a drive; lead it to a file or a terminal";
    const std::string path = zel::pathOfHandle(handle);
    const std::string why = path.empty() ? path : holdsData(path);
    return why.empty() ? why : sentence + why + "; lead it to another file";
}

bool lead(int descriptor, int other) {
    forgetFileType(descriptor);
    return _dup2(other, descriptor) == 0;
}

void leadToNothing(int descriptor) {
    const int nothing = _open("NUL", _O_RDWR | _O_BINARY | _O_NOINHERIT);
    if (nothing < 0 || !lead(descriptor, nothing))
        _close(descriptor);
    if (nothing >= 0)
        _close(nothing);
}

void replace(int descriptor, int other, bool otherIsGood) {
    if (!otherIsGood || !lead(descriptor, other))
        leadToNothing(descriptor);
}

/// A stream that was never there has no descriptor to begin with.
bool openNothing(std::FILE* stream, int descriptor) {
    if (std::freopen("NUL", descriptor == kInput ? "rb" : "wb", stream) == nullptr)
        return false;
    return _fileno(stream) == descriptor || lead(descriptor, _fileno(stream));
}

/// Never destroyed: what is printed last goes through them.
void printOn(std::ostream& stream, int descriptor) {
    if (isConsole(descriptor))
        stream.rdbuf(new ConsoleStream(descriptor));
}

}  // namespace

bool openClosedStreams() {
    std::FILE* const streams[] = {stdin, stdout, stderr};
    for (const int descriptor : {kInput, kOutput, kErrors}) {
        if (handleOf(descriptor) == INVALID_HANDLE_VALUE && !openNothing(streams[descriptor], descriptor))
            return false;
        _setmode(descriptor, _O_BINARY);  // lines end as they do in files of other systems
        forgetFileType(descriptor);
    }
    printOn(std::cout, kOutput);
    printOn(std::cerr, kErrors);
    return true;
}

bool checkStandardStreams(const DataGuard& holdsData, std::string& error) {
    const std::string ofOutput = checkStream(kOutput, "standard output", holdsData);
    const std::string ofErrors = checkStream(kErrors, "standard error", holdsData);
    if (!ofOutput.empty())
        replace(kOutput, kErrors, ofErrors.empty());
    if (!ofErrors.empty())
        replace(kErrors, kOutput, ofOutput.empty());
    error = ofOutput.empty() ? ofErrors : ofOutput;
    return error.empty();
}

}  // namespace drivetest
