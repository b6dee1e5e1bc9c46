#include <cerrno>

#include "BlockContract.h"
#include "libDrive2/linux/ErrnoError.h"
#include "linux/LoopDevice.h"

namespace libDrive2 {
namespace {

struct OnLoopDevice : ContractDevice {
    explicit OnLoopDevice(const std::string& image) : loop(image) {
        locator = loop.path;
        problem = loop.problem;
    }
    LoopDevice loop;
};
const ContractPlace kLoopDevice{"LoopDevice",
                                [](const std::string& image) -> std::unique_ptr<ContractDevice> {
                                    return std::make_unique<OnLoopDevice>(image);
                                }};
INSTANTIATE_TEST_SUITE_P(OnDevice, BlockContract, testing::Values(kLoopDevice),
                         [](const auto& on) { return std::string(on.param.name); });

TEST(LinuxBlockHandle, SaysWhyAPathIsNoDrive) {
    const std::pair<std::string, std::string> cases[] = {
        {"/proc", "/proc is a directory, not a drive or an image file"},
        {"/dev/null", "/dev/null is neither a block device nor an image file"},
        {"/no/such/drive", "/no/such/drive cannot be opened: No such file or directory"},
        {"/dev/null/x", "/dev/null/x cannot be opened: Not a directory"}};
    for (const auto& [path, text] : cases) {
        EXPECT_FALSE(openBlock(path)) << path;
        EXPECT_EQ(lastOpenErrorStr().utf8(), text);
    }
}

TEST(ErrnoError, TellsCausesApart) {
    const std::pair<_LIBDRIVE2_ERROR_TYPES, std::vector<int>> cases[] = {
        {LIBDRIVE2_NO_ERROR, {0}},
        {LIBDRIVE2_MEDIA_ERROR, {EIO, ENODATA}},
        {LIBDRIVE2_DRIVE_ERROR, {EREMOTEIO}},
        {LIBDRIVE2_LINK_ERROR, {EILSEQ, ENOLINK}},
        {LIBDRIVE2_TIMEOUT, {ETIMEDOUT}},
        {LIBDRIVE2_BUSY, {EBUSY, EAGAIN, EBADE}},
        {LIBDRIVE2_WRITE_PROTECTED_DEVICE, {EROFS, EPERM}},
        {LIBDRIVE2_NOT_SUPPORTED, {EOPNOTSUPP, ENOTTY}},
        {LIBDRIVE2_BAD_ARGUMENT, {EINVAL, EFAULT}},
        {LIBDRIVE2_NO_ACCESS,
         {ENXIO, ENODEV, ENOMEDIUM, ENOENT, EACCES, ESHUTDOWN, ENOSPC, EDQUOT, EFBIG, 4095}}};
    for (const auto& [type, values] : cases)
        for (const int value : values)
            EXPECT_EQ(errorTypeOf(value), type) << value;
}

}  // namespace
}  // namespace libDrive2
