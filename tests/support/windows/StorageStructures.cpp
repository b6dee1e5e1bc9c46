#include "support/windows/StorageStructures.h"

#include <cstddef>

namespace testing_support {

namespace {

template <class Structure>
void put(PlayedBytes& bytes, std::size_t at, const Structure& structure) {
    if (bytes.size() < at + sizeof structure)
        bytes.resize(at + sizeof structure);
    std::memcpy(bytes.data() + at, &structure, sizeof structure);
}

/// Appends a text with its zero; where it begins, 0 for none.
DWORD appendText(PlayedBytes& bytes, const std::string& text) {
    if (text.empty())
        return 0;
    const auto at = static_cast<DWORD>(bytes.size());
    bytes.insert(bytes.end(), text.c_str(), text.c_str() + text.size() + 1);
    return at;
}

}  // namespace

PlayedBytes deviceDescriptor(const zel::DeviceDescriptor& told) {
    STORAGE_DEVICE_DESCRIPTOR fields{};
    PlayedBytes bytes(sizeof fields);
    fields.Version = sizeof fields;
    fields.DeviceType = told.deviceType;
    fields.RemovableMedia = told.isRemovable;
    fields.BusType = static_cast<STORAGE_BUS_TYPE>(told.bus);
    fields.VendorIdOffset = appendText(bytes, told.vendor);
    fields.ProductIdOffset = appendText(bytes, told.product);
    fields.ProductRevisionOffset = appendText(bytes, told.revision);
    fields.SerialNumberOffset = appendText(bytes, told.serial);
    fields.Size = static_cast<DWORD>(bytes.size());
    put(bytes, 0, fields);
    return bytes;
}

PlayedBytes deviceNumber(std::uint32_t type, std::uint32_t number) {
    return bytesOf(STORAGE_DEVICE_NUMBER{type, number, 0});
}

PlayedBytes diskGeometry(std::uint64_t bytes, std::uint32_t sectorBytes) {
    DISK_GEOMETRY_EX geometry{};
    geometry.Geometry.MediaType = FixedMedia;
    geometry.Geometry.BytesPerSector = sectorBytes;
    geometry.DiskSize.QuadPart = static_cast<LONGLONG>(bytes);
    return bytesOf(geometry);
}

PlayedBytes diskExtents(const std::vector<PlayedExtent>& extents) {
    PlayedBytes bytes(offsetof(VOLUME_DISK_EXTENTS, Extents));
    put(bytes, 0, static_cast<DWORD>(extents.size()));
    for (const PlayedExtent& each : extents) {
        DISK_EXTENT extent{};
        extent.DiskNumber = each.disk;
        extent.StartingOffset.QuadPart = each.start;
        extent.ExtentLength.QuadPart = each.bytes;
        put(bytes, bytes.size(), extent);
    }
    return bytes;
}

PlayedBytes driveLayout(PARTITION_STYLE style, const std::vector<PlayedPartition>& partitions) {
    DRIVE_LAYOUT_INFORMATION_EX head{};
    head.PartitionStyle = static_cast<DWORD>(style);
    head.PartitionCount = static_cast<DWORD>(partitions.size());
    PlayedBytes bytes;
    put(bytes, 0, head);
    bytes.resize(offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry));
    for (const PlayedPartition& each : partitions) {
        PARTITION_INFORMATION_EX entry{};
        entry.PartitionStyle = style;
        entry.StartingOffset.QuadPart = each.start;
        entry.PartitionLength.QuadPart = each.bytes;
        entry.PartitionNumber = each.number;
        if (style == PARTITION_STYLE_GPT)
            entry.Gpt.PartitionType = each.gptType;
        else
            entry.Mbr.PartitionType = each.mbrType;
        put(bytes, bytes.size(), entry);
    }
    return bytes;
}

PlayedBytes deviceIdentifiers(const std::vector<PlayedIdentifier>& identifiers) {
    constexpr std::size_t kFirst = offsetof(STORAGE_DEVICE_ID_DESCRIPTOR, Identifiers);
    constexpr std::size_t kHead = offsetof(STORAGE_IDENTIFIER, Identifier);
    PlayedBytes bytes(kFirst);
    for (std::size_t i = 0; i < identifiers.size(); ++i) {
        const PlayedIdentifier& each = identifiers[i];
        const std::size_t at = bytes.size();
        const std::size_t whole = (kHead + each.bytes.size() + 3) / 4 * 4;
        bytes.resize(at + whole);
        put(bytes, at, each.codeSet);
        put(bytes, at + 4, each.type);
        put(bytes, at + 8, static_cast<WORD>(each.bytes.size()));
        put(bytes, at + 10, static_cast<WORD>(i + 1 < identifiers.size() ? whole : 0));
        put(bytes, at + 12, each.association);
        std::copy(each.bytes.begin(), each.bytes.end(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(at + kHead));
    }
    put(bytes, 0, static_cast<DWORD>(16));
    put(bytes, 4, static_cast<DWORD>(bytes.size()));
    put(bytes, 8, static_cast<DWORD>(identifiers.size()));
    return bytes;
}

void answerProperties(PlayedDevice& device, std::map<std::uint32_t, PlayedBytes> properties) {
    device.drivers[IOCTL_STORAGE_QUERY_PROPERTY] =
        [properties = std::move(properties)](const PlayedRequest& request) -> PlayedAnswer {
        const auto found =
            properties.find(static_cast<std::uint32_t>(request.input<STORAGE_PROPERTY_QUERY>().PropertyId));
        return found != properties.end() ? PlayedAnswer{found->second}
                                         : PlayedAnswer{{}, ERROR_INVALID_FUNCTION};
    };
}

void answerAsDrive(PlayedDevice& device, std::uint32_t number, const zel::DeviceDescriptor& told,
                   std::uint32_t type) {
    answerProperties(device, {{StorageDeviceProperty, deviceDescriptor(told)}});
    device.answer(IOCTL_STORAGE_GET_DEVICE_NUMBER, deviceNumber(type, number));
    device.answer(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, diskGeometry(device.content.size(), device.sectorBytes));
    device.answer(IOCTL_DISK_GET_LENGTH_INFO, bytesOf(static_cast<std::uint64_t>(device.content.size())));
}

}  // namespace testing_support
