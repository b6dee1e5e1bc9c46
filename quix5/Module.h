#pragma once

#include <memory>
#include <string>
#include <vector>

#include "quix5/ModuleDescriptor.h"
#include "quix5/SharedLibrary.h"
#include "quix5/Test.h"
#include "zel/Export.h"

namespace quix5 {

/// The name under which the loaded module registered itself; also the name of its resource package.
/// Empty before that.
DRIVETEST_API const zel::String& registeredLibrary();

/// One test that a module offers: its row and its filled-in descriptor.
struct OfferedTest {
    const TestEntry* entry;
    Test descriptor;
};

/// A loaded test module with its tests registered.
class DRIVETEST_API Module {
public:
    /// Loads the file and registers its tests. Null when that fails; `error` then says why in one sentence.
    /// Texts are looked up in the packages beside the file.
    static std::unique_ptr<Module> load(const std::string& path, std::string& error);

    [[nodiscard]] const ModuleDescriptor& descriptor() const { return *m_descriptor; }
    [[nodiscard]] const std::vector<OfferedTest>& tests() const { return m_tests; }
    /// Null when the module has no test of that name.
    [[nodiscard]] const OfferedTest* find(const zel::String& name) const;

private:
    Module(std::unique_ptr<SharedLibrary> library, const ModuleDescriptor* descriptor);

    std::unique_ptr<SharedLibrary> m_library;
    const ModuleDescriptor* m_descriptor;
    std::vector<OfferedTest> m_tests;
};

}  // namespace quix5
