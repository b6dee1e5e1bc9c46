#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "Fixtures.h"
#include "libDrive2/OSDrive.h"
#include "zel/Buffer.h"

namespace libDrive2 {

/// A device for the contract; goes away with the object.
class ContractDevice {
public:
    virtual ~ContractDevice() = default;

    std::string locator;  ///< empty where there is none
    std::string problem;  ///< why not
};

/// Where the contract is tried: makes 16 MiB that may be overwritten, over an image file where it wants one.
struct ContractPlace {
    const char* name;
    std::unique_ptr<ContractDevice> (*make)(const std::string& image);
};

/// What every block handle does, whatever is behind it.
class BlockContract : public testing::TestWithParam<ContractPlace> {
protected:
    static constexpr std::uint32_t kSector = 512;

    void SetUp() override {
        m_device = GetParam().make(m_image.path);
        if (m_device->locator.empty())
            GTEST_SKIP() << m_device->problem;
        m_locator = m_device->locator;
        m_handle = openBlock(m_locator);
        ASSERT_TRUE(m_handle) << lastOpenErrorStr().utf8();
        m_drive = std::make_unique<OSDrive>(m_handle, m_locator);
    }
    /// Transfers go through a page-aligned buffer moved by `shift` bytes.
    bool write(std::uint64_t lba, const std::string& data, std::size_t shift = 0) {
        zel::Buffer buffer(data.size() + shift);
        std::memcpy(buffer.data() + shift, data.data(), data.size());
        const auto bytes = static_cast<std::uint32_t>(data.size());
        return m_drive->writeSector(lba, bytes / kSector, buffer.data() + shift, bytes);
    }
    std::string read(std::uint64_t lba, std::uint32_t count, std::size_t shift = 0) {
        zel::Buffer buffer(std::size_t{count} * kSector + shift);
        std::memset(buffer.data(), '?', buffer.size());
        if (!m_drive->readSector(lba, count, buffer.data() + shift, count * kSector))
            return m_drive->getLastErrorStr().utf8();
        return {reinterpret_cast<const char*>(buffer.data()) + shift, std::size_t{count} * kSector};
    }
    /// Data in which all words differ.
    static std::string pattern(std::uint32_t count, std::uint64_t seed) {
        std::string data(std::size_t{count} * kSector, '\0');
        for (std::uint64_t at = 0, word = 0; at < data.size(); at += sizeof word) {
            word = (at + seed) * 0x9E3779B97F4A7C15U;
            std::memcpy(data.data() + at, &word, sizeof word);
        }
        return data;
    }

    TempFile m_image{16 << 20};
    std::unique_ptr<ContractDevice> m_device;
    std::string m_locator;
    SharedBlockHandle m_handle;
    std::unique_ptr<OSDrive> m_drive;
};

}  // namespace libDrive2
