#include "drivetest/run/StandardStreams.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

#include "drivetest/windows/DescriptorStream.h"
#include "drivetest/windows/StandardHandle.h"
#include "zel/Words.h"
#include "zel/windows/FileHandle.h"
#include "zel/windows/SystemCalls.h"

namespace drivetest {

namespace {

using zel::words;

bool isEmpty(HANDLE file) {
    LARGE_INTEGER bytes{};
    return zel::SystemCalls::current().getFileSize(file, &bytes) != FALSE && bytes.QuadPart == 0;
}

/// Why what is printed must not go there; empty when it may.
std::string checkStream(int descriptor, const std::string& name, const DataGuard& holdsData) {
    const HANDLE handle = handleOf(descriptor);
    if (fileTypeOf(descriptor) != FILE_TYPE_DISK)
        return {};
    const auto sentence = [&name](const std::string& why) {
        return words("{stream} must not be written to where it leads: {reason}",
                     {{"stream", name}, {"reason", why}});
    };
    if (!fileBehind(handle))
        return sentence(words("it is a drive; lead it to a file or a terminal"));
    const std::string path = zel::pathOfHandle(handle);
    // Of a file without a path that can be told, nobody can say that it is not what is to be tested.
    if (path.empty())
        return isEmpty(handle)
                   ? path
                   : sentence(words("the system does not tell which file it is; lead it to a new file"));
    const std::string why = holdsData(path);
    return why.empty() ? why : sentence(words("{reason}; lead it to another file", {{"reason", why}}));
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

bool openNothing(int descriptor) {
    const int nothing = _open("NUL", _O_RDWR | _O_BINARY);
    if (nothing == descriptor)
        return true;
    const bool done = nothing >= 0 && lead(descriptor, nothing);
    if (nothing >= 0)
        _close(nothing);
    return done;
}

/// Never destroyed: what is printed last goes through it.
void printOn(int descriptor, std::ostream& stream) {
    stream.rdbuf(new DescriptorStream(descriptor));
}

}  // namespace

bool openClosedStreams() {
    std::ostream* const streams[] = {nullptr, &std::cout, &std::cerr};
    for (const int descriptor : {kInput, kOutput, kErrors}) {
        const bool isClosed = handleOf(descriptor) == INVALID_HANDLE_VALUE;
        if (isClosed && !openNothing(descriptor))
            return false;
        _setmode(descriptor, _O_BINARY);  // lines end as they do in files of other systems
        forgetFileType(descriptor);
        if (streams[descriptor] != nullptr && (isClosed || isConsole(descriptor)))
            printOn(descriptor, *streams[descriptor]);
    }
    return true;
}

bool checkStandardStreams(const DataGuard& holdsData, std::string& error) {
    const std::string ofOutput = checkStream(kOutput, words("standard output"), holdsData);
    const std::string ofErrors = checkStream(kErrors, words("standard error"), holdsData);
    if (!ofOutput.empty())
        replace(kOutput, kErrors, ofErrors.empty());
    if (!ofErrors.empty())
        replace(kErrors, kOutput, ofOutput.empty());
    error = ofOutput.empty() ? ofErrors : ofOutput;
    return error.empty();
}

}  // namespace drivetest
