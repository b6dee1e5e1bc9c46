#include "libDrive2/linux/ErrnoError.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include "zel/Words.h"

namespace libDrive2 {

namespace {

/// The block layer gives ENODATA for a medium error that it can tell apart, EIO for the rest.
constexpr std::pair<int, _LIBDRIVE2_ERROR_TYPES> kTypes[] = {
    {0, LIBDRIVE2_NO_ERROR},
    {EIO, LIBDRIVE2_MEDIA_ERROR},
    {ENODATA, LIBDRIVE2_MEDIA_ERROR},
    {EREMOTEIO, LIBDRIVE2_DRIVE_ERROR},
    {EILSEQ, LIBDRIVE2_LINK_ERROR},
    {ENOLINK, LIBDRIVE2_LINK_ERROR},
    {ECOMM, LIBDRIVE2_LINK_ERROR},
    {EPROTO, LIBDRIVE2_LINK_ERROR},
    {ETIMEDOUT, LIBDRIVE2_TIMEOUT},
    {ETIME, LIBDRIVE2_TIMEOUT},
    {EBUSY, LIBDRIVE2_BUSY},
    {EAGAIN, LIBDRIVE2_BUSY},
    {EBADE, LIBDRIVE2_BUSY},
    {EROFS, LIBDRIVE2_WRITE_PROTECTED_DEVICE},
    {EPERM, LIBDRIVE2_WRITE_PROTECTED_DEVICE},
    {EOPNOTSUPP, LIBDRIVE2_NOT_SUPPORTED},
    {ENOTTY, LIBDRIVE2_NOT_SUPPORTED},
    {ENOSYS, LIBDRIVE2_NOT_SUPPORTED},
    {EINVAL, LIBDRIVE2_BAD_ARGUMENT},
    {EFAULT, LIBDRIVE2_BAD_ARGUMENT},
    {EBADF, LIBDRIVE2_BAD_ARGUMENT},
};

/// What is behind it and what to do, where that is known.
constexpr std::pair<int, const char*> kAdvice[] = {
    {ENOSPC,
     zel::marked("there is no room left where it is stored: make room there, in its file system or pool")},
    {EDQUOT, zel::marked("the quota of the file system that it is stored on is used up: make room there")},
    {EFBIG,
     zel::marked("it may not grow that far: raise the limit of file sizes (ulimit -f), or store it on a file "
                 "system for larger files")},
    {EROFS, zel::marked("it is write-protected, or what it is stored on is mounted read-only")},
    {EPERM, zel::marked("the system forbids it: it may be set immutable, sealed or read-only")},
    {EACCES, zel::marked("run as root or get the right to open it, unless it is set read-only")},
};

template <class Meaning, std::size_t Count>
Meaning meaningOf(int errnoValue, const std::pair<int, Meaning> (&table)[Count], Meaning otherwise) {
    const auto* const row = std::ranges::find(table, errnoValue, &std::pair<int, Meaning>::first);
    return row != std::end(table) ? row->second : otherwise;
}

}  // namespace

/// ENOSPC, EDQUOT and EFBIG are among the rest: no sector is bad, and other than with write protection, some
/// of a transfer may have been written.
_LIBDRIVE2_ERROR_TYPES errorTypeOf(int errnoValue) {
    return meaningOf(errnoValue, kTypes, LIBDRIVE2_NO_ACCESS);
}

DeviceStatus errnoStatus(int errnoValue) {
    if (errnoValue == 0)
        return {};
    const zel::Wording reason = std::system_category().message(errnoValue);
    const char* const advice = meaningOf<const char*>(errnoValue, kAdvice, nullptr);
    return {errorTypeOf(errnoValue),
            advice == nullptr
                ? reason
                : zel::worded("{reason}; {advice}", {{"reason", reason}, {"advice", zel::worded(advice)}})};
}

}  // namespace libDrive2
