#include <string>

#include "DriveTest.h"
#include "DriveTestLogger.h"
#include "Events.h"
#include "zel/Resource.h"

namespace libDriveTest {

namespace {

std::string resourceKeyOf(const char* key) {
    return (String("LocalizedString.") + key).lowerBytes();
}

bool findText(const String& package, const std::string& resourceKey, String& text) {
    return zel::Resource::getString(package, resourceKey.c_str(), zel::ZELLocale::getGlobalLocale(), text);
}

}  // namespace

String DriveTest::__localize(const char* key, const char* fallback) {
    const std::string resourceKey = resourceKeyOf(key);
    String text;
    if (findText("libDriveTest", resourceKey, text))
        return text;
    driveTestLogger().line(1, "Could not find localized string: ", resourceKey.c_str(),
                           " in libDriveTest.qpk");
    return fallback;
}

String DriveTest::localize(const char* key, const char* fallback) {
    const std::string resourceKey = resourceKeyOf(key);
    String text;
    for (std::size_t i = searchPackages.size(); i > 0; --i)
        if (findText(searchPackages[i - 1], resourceKey, text))
            return text;
    return __localize(key, fallback);
}

void DriveTest::addSearchQPK(const String& package) {
    searchPackages.append(package);
}

String DriveTest::mediaType() {
    return strings::mediaType->localizedString().zelString();
}

}  // namespace libDriveTest
