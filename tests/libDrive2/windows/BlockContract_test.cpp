#include "BlockContract.h"

#include <cstdlib>

namespace libDrive2 {
namespace {

/// A device of 16 MiB that whoever runs the tests has made for them: no Windows lets a program make one.
struct GivenDevice : ContractDevice {
    GivenDevice() {
        const char* const given = std::getenv("DRIVETEST_SCRATCH_DEVICE");
        locator = given != nullptr ? given : "";
        problem = "DRIVETEST_SCRATCH_DEVICE names no device of 16 MiB that may be overwritten";
    }
};
const ContractPlace kGivenDevice{"GivenDevice", [](const std::string&) -> std::unique_ptr<ContractDevice> {
                                     return std::make_unique<GivenDevice>();
                                 }};
INSTANTIATE_TEST_SUITE_P(OnDevice, BlockContract, testing::Values(kGivenDevice),
                         [](const auto& on) { return std::string(on.param.name); });

TEST(WindowsBlockHandle, SaysWhyAPathIsNoDrive) {
    const std::pair<std::string, std::string> cases[] = {
        {"C:\\windows", "C:\\windows is a folder, not a drive or an image file"},
        {"C:\\no\\such\\drive", "C:\\no\\such\\drive cannot be opened: "},
        {"\\\\.\\PhysicalDrive99", "\\\\.\\PhysicalDrive99 cannot be opened: "}};
    for (const auto& [path, text] : cases) {
        EXPECT_FALSE(openBlock(path)) << path;
        EXPECT_THAT(lastOpenErrorStr().utf8(), testing::StartsWith(text));
    }
}

}  // namespace
}  // namespace libDrive2
