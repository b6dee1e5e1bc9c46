#include "libDrive2/windows/AccessRules.h"

#include <cstddef>

#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

constexpr SECURITY_INFORMATION kOwnerAndRules = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
constexpr DWORD kMostDescriptorBytes = 1 << 17;
/// Whoever makes something, and whoever owns it: as trusted as the owner is.
constexpr const char* kCreator = "S-1-3-0";
constexpr const char* kOwner = "S-1-3-4";

constexpr DWORD kMastery = GENERIC_ALL | DELETE | FILE_DELETE_CHILD | WRITE_DAC | WRITE_OWNER;
constexpr DWORD kWriting =
    kMastery | GENERIC_WRITE | FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES;

bool isAllowing(const ACE_HEADER& entry) {
    return entry.AceType == ACCESS_ALLOWED_ACE_TYPE || entry.AceType == ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
}

/// Kinds that allow something in a form that files do not have.
bool isStrange(const ACE_HEADER& entry) {
    return entry.AceType == ACCESS_ALLOWED_COMPOUND_ACE_TYPE ||
           entry.AceType == ACCESS_ALLOWED_OBJECT_ACE_TYPE ||
           entry.AceType == ACCESS_ALLOWED_CALLBACK_OBJECT_ACE_TYPE;
}

AccessRules::Allowed allowedBy(ACE_HEADER& entry) {
    AccessRules::Allowed allowed;
    allowed.isHere = (entry.AceFlags & INHERIT_ONLY_ACE) == 0;
    allowed.isForFiles = (entry.AceFlags & OBJECT_INHERIT_ACE) != 0;
    allowed.rights = GENERIC_ALL;
    if (isStrange(entry))
        return allowed;
    auto& plain = reinterpret_cast<ACCESS_ALLOWED_ACE&>(entry);
    allowed.rights = plain.Mask;
    allowed.who = identifierText(&plain.SidStart);
    return allowed;
}

std::optional<AccessRules> rulesIn(void* descriptor) {
    AccessRules rules;
    PSID owner = nullptr;
    ACL* list = nullptr;
    BOOL isThere = FALSE;
    BOOL isDefault = FALSE;
    if (IsValidSecurityDescriptor(descriptor) == FALSE ||
        GetSecurityDescriptorOwner(descriptor, &owner, &isDefault) == FALSE ||
        GetSecurityDescriptorDacl(descriptor, &isThere, &list, &isDefault) == FALSE)
        return std::nullopt;
    rules.owner = identifierText(owner);
    rules.isComplete = isThere != FALSE && list != nullptr;
    for (DWORD i = 0; rules.isComplete && i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (GetAce(list, i, &entry) == FALSE)
            return std::nullopt;
        auto& header = *static_cast<ACE_HEADER*>(entry);
        if (isAllowing(header) || isStrange(header))
            rules.allowed.push_back(allowedBy(header));
    }
    return rules;
}

bool isOwners(const AccessRules::Allowed& allowed) {
    return allowed.who == kOwner || (allowed.who == kCreator && !allowed.isHere);
}

/// Who may do one of these things here, or one of those to files made here.
std::string findOther(const AccessRules& rules, const Account& account, DWORD here, DWORD inFiles) {
    if (!rules.isComplete)
        return "S-1-1-0";  // everyone
    for (const AccessRules::Allowed& allowed : rules.allowed)
        if (!account.trusts(allowed.who) && !isOwners(allowed) &&
            ((allowed.isHere && (allowed.rights & here) != 0) ||
             (allowed.isForFiles && (allowed.rights & inFiles) != 0)))
            return allowed.who.empty() ? "somebody unknown" : allowed.who;
    return {};
}

}  // namespace

std::optional<AccessRules> AccessRules::of(HANDLE file) {
    std::vector<std::max_align_t> space(16);
    DWORD needed = 0;
    zel::SystemCalls& calls = zel::SystemCalls::current();
    const auto ask = [&] {
        const auto bytes = static_cast<DWORD>(space.size() * sizeof space[0]);
        return calls.getSecurity(file, kOwnerAndRules, space.data(), bytes, &needed) != FALSE;
    };
    bool isTold = ask();
    if (!isTold && GetLastError() == ERROR_INSUFFICIENT_BUFFER && needed <= kMostDescriptorBytes) {
        space.resize(needed / sizeof space[0] + 1);
        isTold = ask();
    }
    return isTold ? rulesIn(space.data()) : std::nullopt;
}

std::string AccessRules::writerBeside(const Account& account) const {
    return findOther(*this, account, kWriting, kWriting);
}

std::string AccessRules::meddlerBeside(const Account& account) const {
    return findOther(*this, account, kMastery, kWriting);
}

NewRules::NewRules(Kind kind, const Account& account) {
    // An elevated process leaves its user out: others of his processes are not elevated.
    std::wstring text = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    if (!account.isAdministrator)
        text += L"(A;OICI;FA;;;" + zel::toWide(account.user) + L")";
    if (kind == Kind::shown)
        text += L"(A;OICI;FRFX;;;BU)";
    if (kind == Kind::shared)  // 0x1200AB: to look around, and to make files
        text += L"(A;;0x1200AB;;;BU)(A;OIIO;FR;;;BU)(A;OIIO;FA;;;CO)";
    ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &m_descriptor,
                                                         nullptr);
}

}  // namespace libDrive2
