#pragma once

/// Windows' own headers, the same way everywhere: Windows 10 and later, UTF-16 names, no macros min and max.
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif

// The order matters: the others use what the first declares.
// clang-format off
#include <windows.h>
#include <winioctl.h>
#include <ntddscsi.h>
#include <sddl.h>
// clang-format on
