#include "quix5/Module.h"

#include <filesystem>

#include "zel/Path.h"
#include "zel/Resource.h"
#include "zel/Words.h"

namespace quix5 {

Module::Module(std::unique_ptr<SharedLibrary> library, const ModuleDescriptor* descriptor)
    : m_library(std::move(library)), m_descriptor(descriptor) {
    m_tests.reserve(descriptor->testCount);
    for (std::size_t i = 0; i < descriptor->testCount; ++i) {
        const TestEntry& entry = descriptor->tests[i];
        m_tests.push_back({&entry, Test(entry.name)});
        entry.init(m_tests.back().descriptor);
    }
}

std::unique_ptr<Module> Module::load(const std::string& path, std::string& error) {
    if (!zel::pathExists(path)) {
        error = zel::words("the test module {file} does not exist", {{"file", path}});
        return nullptr;
    }
    // A name without a folder would be searched in the system's library folders.
    std::error_code ignored;
    const std::filesystem::path file = std::filesystem::absolute(zel::pathOf(path), ignored);
    std::string reason;
    auto library = SharedLibrary::load(zel::textOf(file), reason);
    if (library == nullptr) {
        error = zel::words("the test module {file} cannot be loaded: {reason}",
                           {{"file", path}, {"reason", reason}});
        return nullptr;
    }
    const auto describe =
        reinterpret_cast<ModuleDescriptorFunction>(library->symbol(kModuleDescriptorSymbol));
    const ModuleDescriptor* const descriptor = describe != nullptr ? describe() : nullptr;
    if (descriptor == nullptr) {
        error = zel::words("{file} is not a test module", {{"file", path}});
        return nullptr;
    }
    if (descriptor->interfaceVersion != kModuleInterfaceVersion) {
        error = zel::words("the test module {file} was built for another version of this program",
                           {{"file", path}});
        return nullptr;
    }
    zel::Resource::addPackageDirectory(zel::textOf(file.parent_path()));
    return std::unique_ptr<Module>(new Module(std::move(library), descriptor));
}

const OfferedTest* Module::find(const zel::String& name) const {
    for (const OfferedTest& test : m_tests)
        if (test.descriptor.name() == name)
            return &test;
    return nullptr;
}

}  // namespace quix5
