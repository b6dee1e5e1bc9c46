#pragma once

#include <map>
#include <vector>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// A language tag such as "de-AT".
class DRIVETEST_API ZELLocale {
public:
    ZELLocale() = default;
    /// From a tag or a POSIX name: "de_AT.UTF-8" becomes "de-AT"; "C" and "POSIX" become "en".
    explicit ZELLocale(const String& name);

    [[nodiscard]] const String& tag() const { return m_tag; }
    /// Tags to look under, best first: de-AT, de, en.
    [[nodiscard]] std::vector<String> fallbacks() const;

    /// The locale of the process's texts; English until set.
    static const ZELLocale& getGlobalLocale();
    static void setGlobalLocale(const ZELLocale& locale);

private:
    String m_tag{"en"};
};

/// Look-up in resource packages. A package is named by its base name ("libDriveTest": the file
/// libDriveTest.qpk in one of the package directories) or by a path that ends in ".qpk". It is read once,
/// at the first look-up. A package that is missing or damaged has no entries; why is told by loadError().
class DRIVETEST_API Resource {
public:
    /// The text of `key` in the best language available. False when no language has it.
    static bool getString(const String& package, const char* key, const ZELLocale& locale, String& text);
    /// The setting of that name; settings are the same in every language.
    static bool getSetting(const String& package, const char* name, const ZELLocale& locale, String& text);

    /// Adds a directory to search for packages and forgets packages that were not found before.
    static void addPackageDirectory(const String& directory);
    /// Why the package has no entries; empty when it was read.
    static String loadError(const String& package);
    /// Forgets all packages and directories.
    static void reset();
};

/// The text with "{Name}" replaced by its value, for every name and value of the map.
DRIVETEST_API String fillPlaceholders(const String& text, const std::map<String, String>& values);

}  // namespace zel
