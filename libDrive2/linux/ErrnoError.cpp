#include "libDrive2/linux/ErrnoError.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace libDrive2 {

_LIBDRIVE2_ERROR_TYPES errorTypeOf(int errnoValue) {
    switch (errnoValue) {
        case 0:
            return LIBDRIVE2_NO_ERROR;
        // The block layer gives ENODATA for a medium error that it can tell apart, EIO for the rest.
        case EIO:
        case ENODATA:
            return LIBDRIVE2_MEDIA_ERROR;
        case EREMOTEIO:
            return LIBDRIVE2_DRIVE_ERROR;
        case EILSEQ:
        case ENOLINK:
        case ECOMM:
        case EPROTO:
            return LIBDRIVE2_LINK_ERROR;
        case ETIMEDOUT:
        case ETIME:
            return LIBDRIVE2_TIMEOUT;
        case EBUSY:
        case EAGAIN:
        case EBADE:
            return LIBDRIVE2_BUSY;
        case EROFS:
        case EPERM:
            return LIBDRIVE2_WRITE_PROTECTED_DEVICE;
        case EOPNOTSUPP:
        case ENOTTY:
        case ENOSYS:
            return LIBDRIVE2_NOT_SUPPORTED;
        case EINVAL:
        case EFAULT:
        case EBADF:
            return LIBDRIVE2_BAD_ARGUMENT;
        // ENOSPC, EDQUOT and EFBIG too: no sector is bad, and other than with write protection, some of a
        // transfer may have been written.
        default:
            return LIBDRIVE2_NO_ACCESS;
    }
}

namespace {

/// What is behind it and what to do, where that is known.
const char* adviceOn(int errnoValue) {
    switch (errnoValue) {
        case ENOSPC:
            return "; there is no room left where it is stored: make room there, in its file system or pool";
        case EDQUOT:
            return "; the quota of the file system that it is stored on is used up: make room there";
        case EFBIG:
            return "; it may not grow that far: raise the limit of file sizes (ulimit -f), or store it on a "
                   "file system for larger files";
        case EROFS:
            return "; it is write-protected, or what it is stored on is mounted read-only";
        case EPERM:
            return "; the system forbids it: it may be set immutable, sealed or read-only";
        case EACCES:
            return "; run as root or get the right to open it, unless it is set read-only";
        default:
            return "";
    }
}

}  // namespace

DeviceStatus errnoStatus(int errnoValue) {
    if (errnoValue == 0)
        return {};
    return {errorTypeOf(errnoValue), std::system_category().message(errnoValue) + adviceOn(errnoValue)};
}

}  // namespace libDrive2
