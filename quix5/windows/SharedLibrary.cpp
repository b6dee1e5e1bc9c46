#include "quix5/SharedLibrary.h"

#include <filesystem>

#include "zel/windows/Utf16.h"
#include "zel/windows/Windows.h"

namespace quix5 {

/// From the very path, and what it links from its own folder and the system's: nothing that lies in the
/// current folder or on the search path takes the place of either.
std::unique_ptr<SharedLibrary> SharedLibrary::load(const std::string& path, std::string& error) {
    std::error_code failed;
    const std::filesystem::path full =
        std::filesystem::absolute(std::filesystem::path(zel::toWide(path)), failed);
    const HMODULE handle =
        LoadLibraryExW(full.c_str(), nullptr,
                       LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_APPLICATION_DIR |
                           LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (handle == nullptr) {
        error = path + ": " + zel::systemMessage(GetLastError()).utf8();
        return nullptr;
    }
    return std::unique_ptr<SharedLibrary>(new SharedLibrary(handle));
}

void* SharedLibrary::symbol(const char* name) const {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(m_handle), name));
}

std::string SharedLibrary::fileName(const std::string& baseName) {
    return baseName + ".dll";
}

}  // namespace quix5
