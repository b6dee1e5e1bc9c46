#include "ModuleFixture.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OSDrive.h"
#include "libDriveTest/LinearReadTest.h"
#include "quix5/ModuleDescriptor.h"
#include "quix5/ParameterText.h"
#include "zel/Resource.h"

namespace libDriveTest {

ModuleFixture::ModuleFixture()
    : m_folder(std::filesystem::path(testing::TempDir()) /
               ("module-" + std::to_string(std::random_device()()))),
      m_previousClock(zel::Clock::install(&clock)) {
    std::filesystem::create_directories(m_folder);
    zel::Resource::reset();
    give("");
}

ModuleFixture::~ModuleFixture() {
    give("");
    zel::Resource::reset();
    zel::Clock::install(m_previousClock);
    std::filesystem::remove_all(m_folder);
}

const quix5::Test& ModuleFixture::linearReadTest() {
    static const quix5::Test descriptor = [] {
        quix5::Test offered("LinearReadTest");
        LinearReadTest::init(offered);
        return offered;
    }();
    return descriptor;
}

const quix5::Test& ModuleFixture::anyTest() {
    (void)linearReadTest();
    static const quix5::Test descriptor = [] {
        const quix5::ModuleDescriptor& module = *quix5ModuleDescriptor();
        quix5::Test offered("any");
        for (std::size_t i = 0; i < module.testCount; ++i)
            module.tests[i].init(offered);
        return offered;
    }();
    return descriptor;
}

void ModuleFixture::give(const std::string& values) {
    for (const quix5::Parameter* parameter : anyTest().parameters())
        quix5::findParameter(anyTest(), parameter->name())->unset();
    std::istringstream words(values);
    for (std::string word; words >> word;) {
        const auto equals = word.find('=');
        const std::string text = word.substr(equals + 1);
        quix5::Parameter* const parameter = quix5::findParameter(anyTest(), word.substr(0, equals));
        // What people type is never negative, what a program sets may be.
        parameter->set(parameter->type() == quix5::DataType::PERCENT
                           ? quix5::Value::percent(std::stod(text))
                           : quix5::parseValue(parameter->type(), text).value());
    }
}

std::string ModuleFixture::package(const std::string& name,
                                   const std::map<std::string, std::string>& texts) const {
    nlohmann::json document;
    for (const auto& [key, text] : texts)
        document["locales"]["en"]["LocalizedString." + key] = text;
    const std::filesystem::path file = m_folder / (name + ".qpk");
    std::ofstream(file) << document;
    zel::Resource::reset();
    zel::Resource::addPackageDirectory(m_folder.string());
    return file.string();
}

std::string ModuleFixture::image() const {
    const std::filesystem::path file = m_folder / "disk.img";
    std::ofstream(file).flush();
    std::filesystem::resize_file(file, 1048576);
    return file.string();
}

libDrive2::SharedDrive ModuleFixture::open(const std::string& locator) {
    auto handle = libDrive2::OsDevice::openOsDevice(locator, libDrive2::kAccessRead, libDrive2::kShareRead,
                                                    libDrive2::kOpenExisting, 0);
    return libDrive2::SharedDrive(std::make_unique<libDrive2::OSDrive>(std::move(handle), locator));
}

}  // namespace libDriveTest
