#include "libDrive2/windows/SystemError.h"

#include <gtest/gtest.h>

#include <vector>

#include "zel/windows/Windows.h"

namespace libDrive2 {
namespace {

/// What the system's class drivers and file systems end transfers, opens and controls with.
TEST(SystemError, EveryCodeIsOfOneKind) {
    const struct {
        _LIBDRIVE2_ERROR_TYPES type;
        std::vector<unsigned long> codes;
    } rows[] = {
        // Data error (23), sector (27) or track (25) not found, read and write faults, no known format.
        {LIBDRIVE2_MEDIA_ERROR, {23, 25, 27, 29, 30, 323, 1122, 1123, 1127, 1785}},
        {LIBDRIVE2_DRIVE_ERROR, {31, 483, 1117, 1124, 1125, 1126, 1128}},
        {LIBDRIVE2_LINK_ERROR, {57, 995, 1111, 1235}},
        {LIBDRIVE2_TIMEOUT, {121, 258, 1460}},
        {LIBDRIVE2_BUSY, {8, 32, 33, 108, 142, 170, 322, 1237, 1450, 1453, 1816, 2404}},
        {LIBDRIVE2_WRITE_PROTECTED_MEDIUM, {19}},
        {LIBDRIVE2_WRITE_PROTECTED_DEVICE, {6009}},
        {LIBDRIVE2_NOT_SUPPORTED, {1, 50, 120, 316}},
        {LIBDRIVE2_BAD_ARGUMENT, {6, 24, 87, 122, 123, 234, 327, 998, 1132, 1784}},
        // No medium (21, 1112), another one (34, 1110), gone, not to be found, no right, no room; and what
        // nobody has heard of.
        {LIBDRIVE2_NO_ACCESS, {2,   3,   5,    20,   21,   34,   38,   39,         55,   112,
                               321, 433, 1006, 1110, 1112, 1167, 1617, 0x80310000, 4711, 999999}},
    };
    for (const auto& [type, codes] : rows)
        for (const unsigned long code : codes) {
            const DeviceStatus status = systemStatus(code);
            EXPECT_EQ(status.type, type) << code;
            EXPECT_NE(status.text.utf8().find('(' + std::to_string(code) + ')'), std::string::npos)
                << status.text.utf8();
        }
    EXPECT_TRUE(systemStatus(0).ok() && systemStatus(0).text.isEmpty());
}

TEST(SystemError, SaysWhatToDo) {
    const std::pair<unsigned long, const char*> rows[] = {
        {ERROR_ACCESS_DENIED, "run as administrator"},
        {ERROR_SHARING_VIOLATION, "close that program"},
        {ERROR_DISK_FULL, "make room there"},
        {ERROR_WRITE_PROTECT, "remove the write protection"},
        {0x80310000, "locked by BitLocker: unlock it first"}};
    for (const auto& [code, advice] : rows)
        EXPECT_NE(systemStatus(code).text.utf8().find(advice), std::string::npos) << code;
}

TEST(SystemError, AFailureWithoutAReasonIsAFailure) {
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(lastSystemStatus().type, LIBDRIVE2_DRIVE_ERROR);
    SetLastError(ERROR_SEM_TIMEOUT);
    EXPECT_EQ(lastSystemStatus().type, LIBDRIVE2_TIMEOUT);
}

}  // namespace
}  // namespace libDrive2
