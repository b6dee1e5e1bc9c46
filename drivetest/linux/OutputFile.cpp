#include "drivetest/run/OutputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "quix5/StopRequest.h"
#include "zel/Uninterrupted.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr int kFlags = O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr mode_t kMode = 0666;
/// How soon the reader of a FIFO, and a stop request, are noticed.
constexpr std::chrono::milliseconds kReaderInterval{20};

int openFile(const std::string& path, int flags) {
    return zel::uninterrupted([&] { return open(path.c_str(), flags, kMode); });
}

std::string pathOf(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

bool isNull(const struct stat& file) {
    return S_ISCHR(file.st_mode) && file.st_rdev == makedev(1, 3);
}

/// Before it is opened: opening some devices does something.
bool isTerminalDevice(dev_t number) {
    constexpr unsigned kFirstPseudoTerminal = 136;
    constexpr unsigned kLastPseudoTerminal = 143;
    if (major(number) >= kFirstPseudoTerminal && major(number) <= kLastPseudoTerminal)
        return true;
    std::error_code unknown;
    const auto kind = std::filesystem::read_symlink(
        "/sys/dev/char/" + std::to_string(major(number)) + ":" + std::to_string(minor(number)) + "/subsystem",
        unknown);
    return kind.filename() == "tty";
}

/// Why such a file is not written to; empty when it is.
std::string checkKind(const struct stat& file) {
    if (S_ISBLK(file.st_mode))
        return words("it is a drive; name a file");
    if (S_ISDIR(file.st_mode))
        return words("it is a folder; name a file in it");
    if (S_ISSOCK(file.st_mode))
        return words("it is a socket; name a file or a FIFO");
    if (S_ISCHR(file.st_mode) && !isNull(file) && !isTerminalDevice(file.st_rdev))
        return words("it is a device other than a terminal; name a file");
    return {};
}

/// Why what the file holds must stay; empty when it may go.
std::string checkContents(const struct stat& file, const std::string& path, const OutputRules& rules) {
    if (!S_ISREG(file.st_mode))
        return {};
    if (const std::string why = rules.holdsData(path); !why.empty())
        return words("{reason}; name another file", {{"reason", why}});
    if (file.st_size > 0 && !rules.force)
        return words("it holds something already; name a new file, or give --force to replace it");
    return {};
}

/// What is printed as well would get in between.
bool isPrintedTo(const OutputFile& file) {
    struct stat found {};
    return fstat(file.descriptor(), &found) == 0 && !S_ISCHR(found.st_mode) &&
           (isSameOutput(file, OutputFile::borrow(STDOUT_FILENO)) ||
            isSameOutput(file, OutputFile::borrow(STDERR_FILENO)));
}

/// Opens the file that is meant by `place` for writing; waits for the reader of a FIFO.
int openForWriting(int place, bool isFifo) {
    int fd = -1;
    while ((fd = openFile(pathOf(place), kFlags)) < 0 && errno == ENXIO && isFifo) {
        if (quix5::StopRequest::made()) {
            errno = ECANCELED;
            return -1;
        }
        std::this_thread::sleep_for(kReaderInterval);
    }
    return fd;
}

std::string lastError() {
    return std::generic_category().message(errno);
}

/// Looks at a file that exists before it is opened for writing, and again at what was opened.
OutputFile openExisting(const std::string& path, const OutputRules& rules, std::string& problem) {
    const OutputFile place = OutputFile::adopt(openFile(path, O_PATH | O_CLOEXEC), {});
    struct stat file {};
    if (!place || fstat(place.descriptor(), &file) != 0) {
        problem = errno == ENOENT ? words("it is a link to a file that does not exist; name the file")
                                  : lastError();
        return {};
    }
    problem = checkKind(file);
    if (problem.empty())
        problem = checkContents(file, pathOf(place.descriptor()), rules);
    if (!problem.empty())
        return {};
    OutputFile opened = OutputFile::adopt(openForWriting(place.descriptor(), S_ISFIFO(file.st_mode)), {});
    if (!opened && errno == ECANCELED)
        problem = words("nobody had opened the FIFO for reading when the run was stopped");
    else if (!opened)
        problem = lastError();
    return opened;
}

OutputFile open(const std::string& path, const OutputRules& rules, std::string& problem) {
    const int created = openFile(path, kFlags | O_CREAT | O_EXCL);
    if (created >= 0)
        return OutputFile::adopt(created, path);
    if (errno == EEXIST)
        return openExisting(path, rules, problem);
    problem = lastError();
    return {};
}

/// Whether what such a call left is on the disk, or there is none.
bool isDurable(int result) {
    return result == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

/// The folder of a file, and those around it on the same disk, may be as new as the file.
bool syncFolders(int descriptor) {
    struct stat file {};
    std::error_code unknown;
    auto folder = std::filesystem::read_symlink(pathOf(descriptor), unknown);
    if (fstat(descriptor, &file) != 0 || !S_ISREG(file.st_mode))
        return true;
    while (folder.has_relative_path()) {
        folder = folder.parent_path();
        struct stat found {};
        const OutputFile opened =
            OutputFile::adopt(openFile(folder.string(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), {});
        // Who may not look into it did not make it either.
        if (!opened || fstat(opened.descriptor(), &found) != 0 || found.st_dev != file.st_dev)
            return true;
        if (!isDurable(zel::uninterrupted([&opened] { return fsync(opened.descriptor()); })))
            return false;
    }
    return true;
}

/// Writes are to wait, in whatever thread makes them.
void makeBlocking(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    if (flags >= 0)
        fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK);
}

}  // namespace

OutputFile::~OutputFile() {
    removeCreated();
    if (m_owned)
        close(m_descriptor);
}

void OutputFile::removeCreated() const {
    struct stat ours {};
    struct stat named {};
    // The name may lead to another file by now.
    if (!m_created.empty() && fstat(m_descriptor, &ours) == 0 && lstat(m_created.c_str(), &named) == 0 &&
        ours.st_dev == named.st_dev && ours.st_ino == named.st_ino)
        unlink(m_created.c_str());
}

bool OutputFile::begin() {
    m_created.clear();
    struct stat found {};
    // For isBeingWritten(); without it nothing is lost.
    if (m_owned)
        (void)flock(m_descriptor, LOCK_EX | LOCK_NB);
    if (!m_owned || fstat(m_descriptor, &found) != 0 || !S_ISREG(found.st_mode) || found.st_size == 0)
        return true;
    return zel::uninterrupted([this] { return ftruncate(m_descriptor, 0); }) == 0;
}

bool OutputFile::goOnAt(std::uint64_t bytes) {
    m_created.clear();
    const auto end = static_cast<off_t>(bytes);
    if (m_owned && flock(m_descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return false;
    return zel::uninterrupted([&] { return ftruncate(m_descriptor, end); }) == 0 &&
           lseek(m_descriptor, end, SEEK_SET) == end;
}

bool OutputFile::write(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t written =
            zel::uninterrupted([&] { return ::write(m_descriptor, text.data(), text.size()); });
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            // Whoever gave the descriptor does not want to be kept waiting by it.
            pollfd room{m_descriptor, POLLOUT, 0};
            (void)poll(&room, 1, -1);
        } else {
            return false;
        }
    }
    return true;
}

bool OutputFile::sync() {
    if (!isDurable(zel::uninterrupted([this] { return fdatasync(m_descriptor); })))
        return false;
    m_isNameDurable = m_isNameDurable || syncFolders(m_descriptor);
    return m_isNameDurable;
}

bool isBeingWritten(const std::string& path) {
    const OutputFile file = OutputFile::adopt(openFile(path, (kFlags & ~O_WRONLY) | O_RDONLY), {});
    return file && flock(file.descriptor(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

OutputFile openOutput(const std::string& what, const std::string& path, const OutputRules& rules,
                      std::string& error) {
    if (path == "-")
        return OutputFile::borrow(STDOUT_FILENO);
    std::string problem;
    OutputFile file = open(path, rules, problem);
    if (file && isPrintedTo(file)) {
        problem = words("what is printed goes there too; name another file, or - for the record alone");
        file = {};
    }
    if (!problem.empty())
        error = words("{what} cannot be written to {file}: {reason}",
                      {{"what", what}, {"file", path}, {"reason", problem}});
    if (file)
        makeBlocking(file.descriptor());
    return file;
}

bool isSameOutput(const OutputFile& a, const OutputFile& b) {
    struct stat first {};
    struct stat second {};
    return fstat(a.descriptor(), &first) == 0 && fstat(b.descriptor(), &second) == 0 && !isNull(first) &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace drivetest
