#pragma once

#include <string_view>

namespace drivetest {

/// What a name leads to, as far as it tells: opening some devices does something already.
enum class OutputName : unsigned char {
    file,     ///< or a folder, or nothing yet
    null,     ///< NUL
    console,  ///< CON, CONOUT$
    pipe,     ///< \\.\pipe\NAME
    drive,    ///< \\.\PhysicalDrive0, \\.\X:, a volume
    device,   ///< any other
};

/// Of a path as zel::longPath() gives it, in which names such as "com1.txt" have become those of devices.
OutputName classifyOutput(std::wstring_view path);

}  // namespace drivetest
