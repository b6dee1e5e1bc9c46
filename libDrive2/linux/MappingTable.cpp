#include "libDrive2/linux/MappingTable.h"

#include <fcntl.h>
#include <linux/dm-ioctl.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>

#include "libDrive2/linux/FileDescriptor.h"

namespace libDrive2 {

namespace {

constexpr std::uint64_t kTableUnit = 512;  ///< the mapper counts in these
constexpr std::size_t kFirstAnswer = 16 << 10;
constexpr std::size_t kLargestAnswer = 4 << 20;

/// The mapper's number of a device: linux/kdev_t.h, huge_encode_dev.
std::uint64_t encoded(dev_t number) {
    const std::uint64_t minorNumber = minor(number);
    return (minorNumber & 0xFF) | (std::uint64_t{major(number)} << 8) | ((minorNumber & ~0xFFULL) << 12);
}

/// The words that name device and offset come after so many others; nothing for targets of other make.
std::optional<std::size_t> wordsBeforeDevice(const std::string& target) {
    if (target == "linear" || target == "flakey" || target == "delay")
        return 0;
    if (target == "crypt")
        return 3;
    return std::nullopt;
}

bool parseTarget(const std::string& target, const std::string& parameters, MappedStretch& stretch) {
    if (target == "error" || target == "zero")
        return true;
    const auto skipped = wordsBeforeDevice(target);
    std::istringstream words(parameters);
    std::string word;
    for (std::size_t i = 0; skipped && i < *skipped; ++i)
        words >> word;
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    std::uint64_t offset = 0;
    if (!skipped || !(words >> word >> offset) ||
        std::sscanf(word.c_str(), "%u:%u", &majorNumber, &minorNumber) != 2)
        return false;
    stretch.device = makedev(majorNumber, minorNumber);
    stretch.offset = offset * kTableUnit;
    return true;
}

/// Asks with more room until the answer fits; empty on failure.
std::vector<char> askForTable(int control, dev_t mapping) {
    for (std::size_t room = kFirstAnswer; room <= kLargestAnswer; room *= 4) {
        std::vector<char> answer(room);
        dm_ioctl request{};
        request.version[0] = DM_VERSION_MAJOR;
        request.data_size = static_cast<std::uint32_t>(room);
        request.data_start = sizeof request;
        request.flags = DM_STATUS_TABLE_FLAG;
        request.dev = encoded(mapping);
        std::memcpy(answer.data(), &request, sizeof request);
        if (ioctl(control, DM_TABLE_STATUS, answer.data()) != 0)
            return {};
        std::memcpy(&request, answer.data(), sizeof request);
        if ((request.flags & DM_BUFFER_FULL_FLAG) == 0)
            return answer;
    }
    return {};
}

}  // namespace

std::optional<std::vector<MappedStretch>> mappingTableOf(dev_t mapping) {
    const FileDescriptor control(::open("/dev/mapper/control", O_RDWR | O_CLOEXEC));
    const std::vector<char> answer = control ? askForTable(control.get(), mapping) : std::vector<char>();
    if (answer.empty())
        return std::nullopt;
    dm_ioctl header{};
    std::memcpy(&header, answer.data(), sizeof header);
    std::vector<MappedStretch> table;
    std::size_t at = header.data_start;
    for (std::uint32_t i = 0; i < header.target_count; ++i) {
        dm_target_spec target{};
        if (at + sizeof target > answer.size())
            return std::nullopt;
        std::memcpy(&target, answer.data() + at, sizeof target);
        MappedStretch stretch{target.length * kTableUnit};
        if (!parseTarget(target.target_type, answer.data() + at + sizeof target, stretch))
            return std::nullopt;
        table.push_back(stretch);
        at = header.data_start + target.next;
    }
    return table;
}

}  // namespace libDrive2
