#include "libDrive2/windows/DriveClaim.h"

#include <set>

#include "libDrive2/windows/FilePlace.h"
#include "libDrive2/windows/SystemError.h"
#include "zel/Format.h"
#include "zel/Words.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

using zel::SystemCalls;

// Texts to translate.
constexpr const char* kLocked = zel::marked("{path} is in use: another program has locked it");
constexpr const char* kRead = zel::marked(
    "{path} is in use: another program, such as a test that reads, keeps others from writing to it");
constexpr const char* kWritten =
    zel::marked("{path} is in use: another program, such as a test that writes, has locked it");

zel::Wording used(const char* how, const zel::String& path) {
    return zel::worded(how, {{"path", path}});
}

zel::Wording untaken(const zel::String& path, DWORD error) {
    return zel::worded("{path} cannot be taken for this test alone: {reason}",
                       {{"path", path}, {"reason", systemStatus(error).text}});
}

/// Names of objects have no room for all that an identity may hold. FNV-1a.
std::uint64_t hashOf(const std::string& text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text)
        hash = (hash ^ static_cast<std::uint8_t>(c)) * 0x100000001B3;
    return hash;
}

/// For the sessions of all users.
std::wstring objectName(const StorageId& id) {
    return zel::toWide(zel::format("Global\\DriveTest-%016x", hashOf(id.toText())).utf8());
}

/// What belongs to another user may not even be opened.
bool exists(const std::wstring& name) {
    const zel::Handle found(SystemCalls::current().openEvent(name));
    return found || GetLastError() == ERROR_ACCESS_DENIED;
}

}  // namespace

bool DriveClaim::take(const std::vector<StorageExtent>& storage, bool exclusive, zel::Wording& problem) {
    problem = {};
    std::set<std::wstring> names;
    for (const StorageExtent& extent : storage)
        if (!extent.id.empty())
            names.insert(objectName(extent.id));
    for (const std::wstring& name : names)
        if (!takeDisk(name, exclusive, problem)) {
            m_objects.clear();
            return false;
        }
    return true;
}

/// Each makes its own object first and looks for the other's then, so that of two at once at most one goes
/// on.
bool DriveClaim::takeDisk(const std::wstring& name, bool exclusive, zel::Wording& problem) {
    const std::wstring writer = name + L"-write", reader = name + L"-read";
    zel::Handle own(SystemCalls::current().createEvent(exclusive ? writer : reader));
    const DWORD error = GetLastError();
    const bool isTaken = error == ERROR_ALREADY_EXISTS || error == ERROR_ACCESS_DENIED;
    if (exclusive && isTaken)
        problem = used(kLocked, m_path);
    else if (exclusive && !own)
        problem = untaken(m_path, error);
    else if (exists(exclusive ? reader : writer))
        problem = used(exclusive ? kRead : kWritten, m_path);
    else
        m_objects.push_back(std::move(own));
    return problem.isEmpty();
}

bool DriveClaim::takeFile(zel::Handle file, bool exclusive, zel::Wording& problem) {
    problem = {};
    OVERLAPPED place = placeAt(kLockedByte);
    const DWORD flags = LOCKFILE_FAIL_IMMEDIATELY | (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0U);
    if (SystemCalls::current().lockFile(file.get(), flags, 1, 0, &place) != FALSE) {
        m_file = std::move(file);
        return true;
    }
    const DWORD error = GetLastError();
    const bool isLocked = error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING;
    // Where there are no such locks, nobody else has one either.
    if (!exclusive)
        problem = isLocked ? used(kWritten, m_path) : zel::Wording();
    else if (!isLocked)
        problem = untaken(m_path, error);
    else
        // Readers share the byte; a writer shares it with nobody.
        problem =
            used(SystemCalls::current().lockFile(file.get(), LOCKFILE_FAIL_IMMEDIATELY, 1, 0, &place) != FALSE
                     ? kRead
                     : kLocked,
                 m_path);
    return problem.isEmpty();
}

bool DriveClaim::release() {
    m_objects.clear();
    if (!m_file)
        return true;
    OVERLAPPED place = placeAt(kLockedByte);
    const bool isUnlocked = SystemCalls::current().unlockFile(m_file.get(), 1, 0, &place) != FALSE;
    const DWORD error = GetLastError();
    m_file.reset();
    SetLastError(error);
    return isUnlocked;
}

}  // namespace libDrive2
