#include "libDrive2/DriveIdentity.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string_view>

#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

using Kind = StorageId::Kind;

/// As text forms begin.
constexpr std::pair<Kind, std::string_view> kKindNames[] = {
    {Kind::boot, "boot:"},  {Kind::wwid, "wwid:"}, {Kind::serial, "serial:"}, {Kind::partition, "partuuid:"},
    {Kind::mapping, "dm:"}, {Kind::array, "md:"},  {Kind::file, "file:"},
};

bool isSameId(const StorageId& a, const StorageId& b) {
    return !a.empty() && a.kind == b.kind && a.value == b.value &&
           (a.birth.empty() || b.birth.empty() || a.birth == b.birth);
}

std::uint64_t endOf(const StorageExtent& extent) {
    return extent.bytes == 0 ? UINT64_MAX : extent.start + extent.bytes;
}

bool meets(const std::vector<StorageExtent>& a, const std::vector<StorageExtent>& b) {
    return std::any_of(a.begin(), a.end(), [&b](const StorageExtent& one) {
        return std::any_of(b.begin(), b.end(), [&one](const StorageExtent& other) {
            return isSameId(one.id, other.id) && one.start < endOf(other) && other.start < endOf(one);
        });
    });
}

bool isSameExtent(const StorageExtent& a, const StorageExtent& b) {
    return (a.id == b.id || isSameId(a.id, b.id)) && a.start == b.start && a.bytes == b.bytes;
}

/// Stretches that lie on no device prove nothing.
bool isSameStorage(const std::vector<StorageExtent>& a, const std::vector<StorageExtent>& b) {
    return std::any_of(a.begin(), a.end(), [](const StorageExtent& extent) { return !extent.id.empty(); }) &&
           std::equal(a.begin(), a.end(), b.begin(), b.end(), isSameExtent);
}

bool isLasting(const std::vector<StorageExtent>& storage) {
    return !storage.empty() && std::none_of(storage.begin(), storage.end(), [](const StorageExtent& extent) {
        return extent.id.kind == Kind::boot;
    });
}

/// Line feeds and backslashes would end a line or begin an escape.
std::string escaped(const std::string& text) {
    std::string line;
    for (const char c : text)
        if (c == '\n')
            line += "\\n";
        else if (c == '\\')
            line += "\\\\";
        else
            line += c;
    return line;
}

std::string unescaped(std::string_view line) {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i)
        if (line[i] == '\\' && i + 1 < line.size())
            text += line[++i] == 'n' ? '\n' : line[i];
        else
            text += line[i];
    return text;
}

template <class Number>
bool parseNumber(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

std::string lineOf(const StorageExtent& extent) {
    return std::to_string(extent.start) + " " + std::to_string(extent.bytes) + " " +
           escaped(extent.id.toText()) + "\n";
}

bool parseExtent(std::string_view text, std::vector<StorageExtent>& extents) {
    const auto first = text.find(' ');
    const auto second = first == text.npos ? text.npos : text.find(' ', first + 1);
    StorageExtent extent;
    if (second == text.npos || !parseNumber(text.substr(0, first), extent.start) ||
        !parseNumber(text.substr(first + 1, second - first - 1), extent.bytes))
        return false;
    extent.id = unescaped(text.substr(second + 1));
    extents.push_back(std::move(extent));
    return true;
}

bool parseField(std::string_view name, std::string_view value, DriveIdentity& identity) {
    if (name == "storage")
        return parseExtent(value, identity.storage);
    if (name == "carrier")
        return parseExtent(value, identity.carriers);
    if (name == "sectors")
        return parseNumber(value, identity.sectors);
    if (name == "sector-bytes")
        return parseNumber(value, identity.sectorBytes);
    if (name == "model")
        identity.model = unescaped(value);
    else if (name == "serial")
        identity.serial = unescaped(value);
    else if (name == "id")
        identity.id = unescaped(value);
    return true;
}

}  // namespace

StorageId::StorageId(const std::string& text) : kind(text.empty() ? Kind::none : Kind::other), value(text) {
    for (const auto& [named, name] : kKindNames)
        if (text.starts_with(name)) {
            kind = named;
            value = text.substr(name.size());
        }
    if (const auto colon = value.find_last_of(':'); kind == Kind::file && colon != std::string::npos) {
        birth = value.substr(colon + 1);
        value.resize(colon);
    }
}

std::string StorageId::toText() const {
    std::string text;
    for (const auto& [named, name] : kKindNames)
        if (named == kind)
            text = name;
    return text + value + (kind == Kind::file ? ":" + birth : "");
}

StorageId StorageId::part(std::uint64_t start, std::uint64_t bytes) const {
    StorageId piece = *this;
    if (!empty() && (start != 0 || bytes != 0))
        (kind == Kind::file ? piece.birth : piece.value) +=
            "+" + std::to_string(start) + "+" + std::to_string(bytes);
    return piece;
}

zel::String DriveIdentity::describe() const {
    return zel::words(
        "{model}, {serial}, {n} sectors of {bytes} bytes",
        {{"model", model.isEmpty() ? zel::words("unknown model") : model.utf8()},
         {"serial", serial.isEmpty() ? zel::words("no serial number")
                                     : zel::words("serial number {serial}", {{"serial", serial}})},
         {"n", sectors},
         {"bytes", sectorBytes}});
}

std::string DriveIdentity::toText() const {
    std::string text = "model " + escaped(model.utf8()) + "\nserial " + escaped(serial.utf8()) +
                       "\nsectors " + std::to_string(sectors) + "\nsector-bytes " +
                       std::to_string(sectorBytes) + "\nid " + escaped(id.toText()) + "\n";
    for (const StorageExtent& extent : storage)
        text += "storage " + lineOf(extent);
    for (const StorageExtent& extent : carriers)
        text += "carrier " + lineOf(extent);
    return text;
}

bool DriveIdentity::fromText(const std::string& text, DriveIdentity& identity) {
    identity = {};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto blank = line.find(' ');
        if (blank == std::string::npos || !parseField(std::string_view(line).substr(0, blank),
                                                      std::string_view(line).substr(blank + 1), identity))
            return false;
    }
    return identity.sectorBytes != 0;
}

bool isSameDrive(const DriveIdentity& a, const DriveIdentity& b) {
    if (a.id.empty() || b.id.empty())
        return isSameStorage(a.storage, b.storage);
    if (!isSameId(a.id, b.id))
        return false;
    // A mapping or a partition of the same UUID can be made of something else.
    return !isLasting(a.storage) || !isLasting(b.storage) || meets(a.storage, b.storage);
}

bool isMadeOfTheSame(const DriveIdentity& a, const DriveIdentity& b) {
    return isSameStorage(a.storage, b.storage);
}

bool sharesStorage(const DriveIdentity& a, const DriveIdentity& b) {
    return meets(a.storage, b.storage) || meets(a.storage, b.carriers) || meets(a.carriers, b.storage) ||
           isSameId(a.id, b.id);
}

bool isKeptIn(const DriveIdentity& drive, const DriveIdentity& file) {
    return meets(drive.storage, file.storage) || meets(drive.carriers, file.storage);
}

bool isStable(const DriveIdentity& identity) {
    return !identity.id.empty() || isLasting(identity.storage);
}

}  // namespace libDrive2
