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
        default:
            return LIBDRIVE2_NO_ACCESS;
    }
}

DeviceStatus errnoStatus(int errnoValue) {
    if (errnoValue == 0)
        return {};
    zel::String text = std::system_category().message(errnoValue);
    if (errnoValue == EACCES)
        text += "; run as root or get the right to open it";
    return {errorTypeOf(errnoValue), std::move(text)};
}

}  // namespace libDrive2
