#pragma once

#include <optional>
#include <string>
#include <vector>

#include "libDrive2/windows/Account.h"
#include "zel/windows/Windows.h"

namespace libDrive2 {

/// Who may do what with a file or a folder, as its security descriptor says it. What it denies is left out:
/// whoever is allowed something counts as allowed.
struct AccessRules {
    struct Allowed {
        std::string who{};
        DWORD rights = 0;
        bool isHere = false;      ///< for the file or folder itself
        bool isForFiles = false;  ///< for files that are made in the folder
    };
    std::string owner{};
    bool isComplete = false;  ///< false: it says nothing, so everybody may do everything
    std::vector<Allowed> allowed{};

    /// Of an open file; nothing on failure, with GetLastError().
    static std::optional<AccessRules> of(HANDLE file);
    /// The first whom nobody trusts and who may write, delete, or change the rules: to the file or folder
    /// itself, or to files that are made in it. Empty when there is none.
    [[nodiscard]] std::string writerBeside(const Account& account) const;
    /// The same of a folder in which others may make files, but not touch those of others.
    [[nodiscard]] std::string meddlerBeside(const Account& account) const;
};

/// The text of a binary identifier; empty when there is none.
std::string identifierText(void* identifier);

/// What is made with it gets these rules and inherits none.
class NewRules {
public:
    enum class Kind {
        closed,  ///< for this account, the administrators and the system alone
        shown,   ///< others see what is there
        shared,  ///< a folder: others make files, each can delete his own, all can read them
    };
    NewRules(Kind kind, const Account& account);
    ~NewRules() { LocalFree(m_descriptor); }
    NewRules(const NewRules&) = delete;
    NewRules& operator=(const NewRules&) = delete;

    /// Null when it could not be made.
    [[nodiscard]] void* descriptor() const { return m_descriptor; }

private:
    void* m_descriptor = nullptr;
};

}  // namespace libDrive2
