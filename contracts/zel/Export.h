#pragma once

/// Marks what a library shows to the others: classes with something to link to, functions and data.
/// Everything else stays inside.
#ifndef _WIN32
#define DRIVETEST_API __attribute__((visibility("default")))
#elif defined(DRIVETEST_EXPORTS)  // while the library itself is built; its users link without being told
#define DRIVETEST_API __declspec(dllexport)
#else
#define DRIVETEST_API
#endif
