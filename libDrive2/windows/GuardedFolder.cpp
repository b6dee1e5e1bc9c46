#include "libDrive2/windows/GuardedFolder.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>

#include "libDrive2/windows/AccessRules.h"
#include "libDrive2/windows/answers/FolderNames.h"
#include "zel/Format.h"
#include "zel/Path.h"
#include "zel/Words.h"
#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

using zel::words;

namespace fs = std::filesystem;

namespace {

using zel::SystemCalls;

// Values of NtCreateFile.
constexpr DWORD kOpen = 1;
constexpr DWORD kCreate = 2;
constexpr DWORD kFolderOption = 0x1;
constexpr DWORD kSynchronousOption = 0x20;
constexpr DWORD kFileOption = 0x40;
constexpr DWORD kLinkItselfOption = 0x200000;

/// Reading is what makes the share mode count.
constexpr DWORD kFolderAccess = FILE_GENERIC_READ | FILE_TRAVERSE;
/// No deleting, and so no renaming.
constexpr DWORD kFolderShare = zel::kShareContents;
constexpr DWORD kMostNameBytes = 1 << 16;

// FileDispositionInfoEx: the name goes at once, though others may have the file open, and may read on.
constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
constexpr DWORD kDeleteAtOnce = 0x1 | 0x2;

bool isMissingError(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_DELETE_PENDING;
}

/// A part of a path, a stream of a file and the like are none.
bool isName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find_first_of("\\/:") == std::string::npos;
}

/// Of the folder itself it is enough that it is known: the handle is what counts.
std::nullopt_t refuseFolder(const std::string& path, DWORD error, zel::String& reason) {
    failWith(reason, words("the folder {folder} cannot be opened", {{"folder", path}}), error);
    SetLastError(isMissingError(error) ? ERROR_PATH_NOT_FOUND : error);
    return std::nullopt;
}

NewRules::Kind kindOf(GuardedFolder::Writers writers, GuardedFolder::Readers readers) {
    if (writers == GuardedFolder::Writers::all)
        return NewRules::Kind::shared;
    return readers == GuardedFolder::Readers::all ? NewRules::Kind::shown : NewRules::Kind::closed;
}

bool makeFolder(const fs::path& folder, NewRules::Kind kind, zel::String& reason) {
    std::error_code unknown;
    if (fs::is_directory(folder, unknown))
        return true;
    const fs::path parent = folder.parent_path();
    if (parent != folder && !parent.empty() && !makeFolder(parent, NewRules::Kind::shown, reason))
        return false;
    const std::string path = zel::textOf(folder);
    const NewRules rules(kind, Account::current());
    SECURITY_ATTRIBUTES security{sizeof security, rules.descriptor(), FALSE};
    return (rules.descriptor() != nullptr &&
            SystemCalls::current().createDirectory(zel::longPath(path), &security) != FALSE) ||
           GetLastError() == ERROR_ALREADY_EXISTS ||
           failWith(reason, words("the folder {folder} could not be made", {{"folder", path}}),
                    GetLastError());
}

}  // namespace

bool failWith(zel::String& reason, const zel::String& what, DWORD error) {
    reason = words("{problem}: {reason}", {{"problem", what}, {"reason", zel::systemMessage(error)}});
    return false;
}

bool writeAllDurably(HANDLE file, const void* data, std::size_t bytes) {
    constexpr std::size_t kMost = 1 << 20;
    const auto* left = static_cast<const std::uint8_t*>(data);
    while (bytes > 0) {
        DWORD written = 0;
        if (SystemCalls::current().writeFile(file, left, static_cast<DWORD>(std::min(bytes, kMost)), &written,
                                             nullptr) == FALSE)
            return false;
        left += written;
        bytes -= written;
    }
    return SystemCalls::current().flushFileBuffers(file) != FALSE;
}

std::optional<GuardedFolder> GuardedFolder::open(const std::string& path, Writers writers,
                                                 zel::String& reason) {
    const std::string name = path.empty() ? "." : path;
    zel::Handle folder(SystemCalls::current().createFile(zel::longPath(name), kFolderAccess, kFolderShare,
                                                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
    return folder ? check(GuardedFolder(name, std::move(folder)), writers, reason)
                  : refuseFolder(name, GetLastError(), reason);
}

bool GuardedFolder::make(const std::string& path, Writers writers, Readers readers, zel::String& reason) {
    std::error_code failed;
    const fs::path full = fs::absolute(zel::pathOf(path), failed).lexically_normal();
    return makeFolder(full.has_filename() ? full : full.parent_path(), kindOf(writers, readers), reason);
}

std::optional<GuardedFolder> GuardedFolder::openFolder(const std::string& name, Writers writers,
                                                       zel::String& reason) const {
    if (!isName(name))
        return refuseFolder(pathOf(name), ERROR_INVALID_NAME, reason);
    zel::Handle folder(
        SystemCalls::current().createFileIn(m_folder.get(), zel::toWide(name), kFolderAccess, kFolderShare,
                                            kOpen, kFolderOption | kSynchronousOption | kLinkItselfOption));
    return folder ? check(GuardedFolder(pathOf(name), std::move(folder)), writers, reason)
                  : refuseFolder(pathOf(name), GetLastError(), reason);
}

std::optional<GuardedFolder> GuardedFolder::check(GuardedFolder folder, Writers writers,
                                                  zel::String& reason) {
    BY_HANDLE_FILE_INFORMATION found{};
    const HANDLE handle = folder.m_folder.get();
    const auto rules = AccessRules::of(handle);
    if (!rules || SystemCalls::current().getFileInformation(handle, &found) == FALSE)
        return refuseFolder(folder.m_path, GetLastError(), reason);
    const Account account = Account::current();
    const std::string other =
        writers == Writers::owner ? rules->writerBeside(account) : rules->meddlerBeside(account);
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        reason = words("{path} is no folder: name a folder", {{"path", folder.m_path}});
    else if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        reason = words("{path} is a link and no folder: it was not followed; take it away",
                       {{"path", folder.m_path}});
    else if (!account.trusts(rules->owner))
        reason = words(
            "the folder {folder} belongs to another user ({user}), who could exchange its files: choose one "
            "of "
            "your own",
            {{"folder", folder.m_path}, {"user", accountName(rules->owner)}});
    else if (!rules->isComplete)
        reason = words(
            "others can write to the folder {folder}, as its file system keeps no rights: choose a folder on "
            "an "
            "NTFS volume",
            {{"folder", folder.m_path}});
    else if (!other.empty())
        reason = words(
            "others ({who}) can write to the folder {folder}: take that right from them, or choose a folder "
            "of "
            "your own",
            {{"who", accountName(other)}, {"folder", folder.m_path}});
    else
        return folder;
    SetLastError(ERROR_ACCESS_DENIED);
    return std::nullopt;
}

std::string GuardedFolder::pathOf(const std::string& name) const {
    return m_path + (m_path.ends_with('\\') || m_path.ends_with('/') ? "" : "\\") + name;
}

bool GuardedFolder::names(std::vector<std::string>& found, zel::String& reason) const {
    found.clear();
    std::vector<std::uint64_t> space(kMostNameBytes / sizeof(std::uint64_t));
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(space.data()), kMostNameBytes);
    auto kind = FileFullDirectoryRestartInfo;
    while (SystemCalls::current().getFileInformationEx(m_folder.get(), kind, space.data(), kMostNameBytes) !=
           FALSE) {
        if (!appendNames(bytes, found))
            return failWith(reason, words("the folder {folder} cannot be searched", {{"folder", m_path}}),
                            ERROR_INVALID_DATA);
        kind = FileFullDirectoryInfo;
    }
    if (const DWORD error = GetLastError(); error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND)
        return failWith(reason, words("the folder {folder} cannot be searched", {{"folder", m_path}}), error);
    std::erase_if(found, [](const std::string& name) { return name == "." || name == ".."; });
    std::sort(found.begin(), found.end());
    return true;
}

/// Closes a file that must not be used, after telling why.
void GuardedFolder::examine(const std::string& name, Owner owner, GuardedFile& opened) const {
    const std::string path = pathOf(name);
    const auto rules = AccessRules::of(opened.file.get());
    const Account account = Account::current();
    if (!rules || SystemCalls::current().getFileInformation(opened.file.get(), &opened.found) == FALSE) {
        failWith(opened.problem, words("{path} cannot be examined", {{"path", path}}), GetLastError());
        opened.file.reset();
        return;
    }
    opened.owner = rules->owner;
    const DWORD attributes = opened.found.dwFileAttributes;
    const std::string other = owner == Owner::user ? rules->writerBeside(account) : "";
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        opened.problem = words("{path} is {kind} and no file: it was not opened; take it away",
                               {{"path", path}, {"kind", words("a link")}});
    else if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        opened.problem = words("{path} is {kind} and no file: it was not opened; take it away",
                               {{"path", path}, {"kind", words("a folder")}});
    else if (owner == Owner::user && !account.trusts(rules->owner))
        opened.problem = words("{path} belongs to another user ({user}): only that user can use or delete it",
                               {{"path", path}, {"user", accountName(rules->owner)}});
    else if (!other.empty())
        opened.problem =
            words("others ({who}) can write to {path}: it is not used; take that right from them",
                  {{"who", accountName(other)}, {"path", path}});
    else if (opened.found.nNumberOfLinks > 1)
        opened.problem = words(
            "{path} has {n} names (hard links), so others may write to it: it is not used; leave it one name",
            {{"path", path}, {"n", opened.found.nNumberOfLinks}});
    if (!opened.problem.isEmpty())
        opened.file.reset();
}

GuardedFile GuardedFolder::openFile(const std::string& name, DWORD access, Owner owner, DWORD share) const {
    GuardedFile opened;
    if (isName(name))
        opened.file = zel::Handle(SystemCalls::current().createFileIn(
            m_folder.get(), zel::toWide(name), access | READ_CONTROL | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
            share, kOpen, kSynchronousOption | kLinkItselfOption));
    else
        SetLastError(ERROR_INVALID_NAME);
    if (opened.file) {
        examine(name, owner, opened);
    } else {
        const DWORD error = GetLastError();
        opened.isMissing = isMissingError(error);
        opened.isInUse = error == ERROR_SHARING_VIOLATION;
        failWith(opened.problem, words("{path} cannot be opened", {{"path", pathOf(name)}}), error);
    }
    return opened;
}

GuardedFile GuardedFolder::createFile(const std::string& name, Readers readers) const {
    GuardedFile made;
    const NewRules closed(NewRules::Kind::closed, Account::current());
    void* const rules = readers == Readers::owner ? closed.descriptor() : nullptr;
    if (!isName(name))
        SetLastError(ERROR_INVALID_NAME);
    else if (readers == Readers::all || rules != nullptr)
        made.file = zel::Handle(SystemCalls::current().createFileIn(
            m_folder.get(), zel::toWide(name), GENERIC_READ | GENERIC_WRITE | DELETE | SYNCHRONIZE,
            zel::kShareContents, kCreate, kSynchronousOption | kFileOption, rules));
    if (!made.file)
        failWith(made.problem, words("{path} could not be made", {{"path", pathOf(name)}}), GetLastError());
    return made;
}

bool GuardedFolder::rename(const zel::Handle& file, const std::string& name, zel::String& reason) const {
    if (!isName(name))
        return failWith(reason, words("{path} could not be written", {{"path", pathOf(name)}}),
                        ERROR_INVALID_NAME);
    return SystemCalls::current().renameFileIn(file.get(), m_folder.get(), zel::toWide(name)) != FALSE ||
           failWith(reason, words("{path} could not be written", {{"path", pathOf(name)}}), GetLastError());
}

bool GuardedFolder::remove(const std::string& name, zel::Handle& file, zel::String& reason) const {
    SystemCalls& calls = SystemCalls::current();
    DWORD atOnce = kDeleteAtOnce;
    FILE_DISPOSITION_INFO later{TRUE};
    // Not all file systems have the first.
    if (calls.setFileInformation(file.get(), kDispositionEx, &atOnce, sizeof atOnce) == FALSE &&
        calls.setFileInformation(file.get(), FileDispositionInfo, &later, sizeof later) == FALSE)
        return failWith(reason, words("{path} could not be deleted", {{"path", pathOf(name)}}),
                        GetLastError());
    file.reset();
    return sync(reason);
}

bool GuardedFolder::sync(zel::String& reason) const {
    SystemCalls& calls = SystemCalls::current();
    // Flushing takes the right to write, which the handle that guards the folder does without. Where this
    // user has no such right here, or the file system flushes no folders, names become durable with the
    // files: to flush a file, NTFS writes its log, in which the names stand.
    const zel::Handle again(calls.createFileIn(m_folder.get(), {}, FILE_ADD_FILE | SYNCHRONIZE,
                                               zel::kShareAll, kOpen, kFolderOption | kSynchronousOption));
    if (!again || calls.flushFileBuffers(again.get()) != FALSE)
        return true;
    const DWORD error = GetLastError();
    return error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED || error == ERROR_ACCESS_DENIED ||
           error == ERROR_INVALID_HANDLE || error == ERROR_INVALID_PARAMETER ||
           failWith(reason, words("{path} could not be made durable", {{"path", m_path}}), error);
}

}  // namespace libDrive2
