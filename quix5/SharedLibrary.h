#pragma once

#include <memory>
#include <string>

#include "zel/Export.h"

namespace quix5 {

/// A loaded library. It stays loaded until the process ends, since objects made in it may live on.
class DRIVETEST_API SharedLibrary {
public:
    /// Null when the file cannot be loaded; `error` then tells why.
    static std::unique_ptr<SharedLibrary> load(const std::string& path, std::string& error);
    /// Null when the library exports no such symbol.
    [[nodiscard]] void* symbol(const char* name) const;

    /// The file name that a library of this base name has on this system.
    static std::string fileName(const std::string& baseName);

private:
    explicit SharedLibrary(void* handle) : m_handle(handle) {}

    void* m_handle;
};

}  // namespace quix5
