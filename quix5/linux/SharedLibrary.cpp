#include "quix5/SharedLibrary.h"

#include <dlfcn.h>

namespace quix5 {

std::unique_ptr<SharedLibrary> SharedLibrary::load(const std::string& path, std::string& error) {
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (handle == nullptr) {
        error = dlerror();
        return nullptr;
    }
    return std::unique_ptr<SharedLibrary>(new SharedLibrary(handle));
}

void* SharedLibrary::symbol(const char* name) const {
    return dlsym(m_handle, name);
}

std::string SharedLibrary::fileName(const std::string& baseName) {
    return baseName + ".so";
}

}  // namespace quix5
