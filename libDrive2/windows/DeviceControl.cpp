#include "libDrive2/windows/DeviceControl.h"

#include <algorithm>

#include "zel/windows/SystemCalls.h"

namespace libDrive2 {

namespace {

/// The system's call takes a pointer to changeable memory for what drivers of this kind only read.
void* changeable(Bytes input) {
    return const_cast<std::uint8_t*>(input.data());
}

}  // namespace

std::optional<std::vector<std::uint8_t>> askDevice(HANDLE device, DWORD code, Bytes input, std::size_t room) {
    std::vector<std::uint8_t> answer(room);
    DWORD returned = 0;
    if (zel::SystemCalls::current().deviceIoControl(device, code, changeable(input),
                                                    static_cast<DWORD>(input.size()), answer.data(),
                                                    static_cast<DWORD>(room), &returned) == FALSE &&
        GetLastError() != ERROR_MORE_DATA)
        return std::nullopt;
    answer.resize(std::min<std::size_t>(returned, room));
    return answer;
}

std::optional<std::vector<std::uint8_t>> askProperty(HANDLE device, std::uint32_t property,
                                                     std::size_t room) {
    std::uint8_t query[12] = {};  // PropertyId, QueryType 0 (the standard one), AdditionalParameters
    std::span<std::uint8_t> fields(query);
    storeLittleEndian(fields, 0, property);
    return askDevice(device, IOCTL_STORAGE_QUERY_PROPERTY, query, room);
}

bool tellDevice(HANDLE device, DWORD code, Bytes input) {
    DWORD returned = 0;
    return zel::SystemCalls::current().deviceIoControl(device, code, changeable(input),
                                                       static_cast<DWORD>(input.size()), nullptr, 0,
                                                       &returned) != FALSE;
}

}  // namespace libDrive2
