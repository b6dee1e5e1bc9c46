#include "libDrive2/windows/Account.h"

#include <algorithm>
#include <iterator>

#include "libDrive2/windows/AccessRules.h"
#include "zel/windows/Handle.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

constexpr const char* kAdministrators = "S-1-5-32-544";
constexpr const char* kTrusted[] = {
    "S-1-5-18",  // the system itself
    kAdministrators,
    "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464",  // its installer of updates
};
constexpr DWORD kNameUnits = 256;

/// Of a binary identifier's text; freed with LocalFree().
struct Identifier {
    explicit Identifier(const std::string& text) {
        ConvertStringSidToSidW(zel::toWide(text).c_str(), &binary);
    }
    ~Identifier() { LocalFree(binary); }
    Identifier(const Identifier&) = delete;
    Identifier& operator=(const Identifier&) = delete;
    PSID binary = nullptr;
};

/// Of the kinds that begin with a pointer to an identifier.
std::string identifierIn(const zel::Handle& token, TOKEN_INFORMATION_CLASS kind) {
    alignas(TOKEN_USER) unsigned char space[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE] = {};
    DWORD needed = 0;
    if (zel::SystemCalls::current().getTokenInformation(token.get(), kind, space, sizeof space, &needed) ==
        FALSE)
        return {};
    return identifierText(reinterpret_cast<const TOKEN_OWNER*>(space)->Owner);
}

}  // namespace

std::string identifierText(void* identifier) {
    wchar_t* text = nullptr;
    if (identifier == nullptr || ConvertSidToStringSidW(identifier, &text) == FALSE)
        return {};
    const std::string copy = zel::fromWide(text);
    LocalFree(text);
    return copy;
}

Account Account::current() {
    Account account;
    zel::SystemCalls& calls = zel::SystemCalls::current();
    HANDLE opened = nullptr;
    if (calls.openProcessToken(TOKEN_QUERY, &opened) == FALSE)
        return account;
    const zel::Handle token(opened);
    const Identifier administrators(kAdministrators);
    BOOL isMember = FALSE;
    account.isAdministrator =
        calls.checkTokenMembership(administrators.binary, &isMember) != FALSE && isMember != FALSE;
    account.user = identifierIn(token, TokenUser);
    account.owner = identifierIn(token, TokenOwner) == kAdministrators ? kAdministrators : account.user;
    return account;
}

bool Account::trusts(const std::string& identifier) const {
    return !identifier.empty() &&
           (identifier == user || identifier == owner ||
            std::find(std::begin(kTrusted), std::end(kTrusted), identifier) != std::end(kTrusted));
}

std::string accountName(const std::string& identifier) {
    const Identifier of(identifier);
    wchar_t name[kNameUnits];
    wchar_t domain[kNameUnits];
    DWORD nameUnits = kNameUnits;
    DWORD domainUnits = kNameUnits;
    if (of.binary == nullptr ||
        zel::SystemCalls::current().lookupAccount(of.binary, name, &nameUnits, domain, &domainUnits) == FALSE)
        return identifier;
    return zel::fromWide(std::wstring(domain, domainUnits) + L"\\" + std::wstring(name, nameUnits));
}

}  // namespace libDrive2
