#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <string>
#include <utility>

namespace libDrive2 {

/// What a folder's file system is stored on, all the way down: partitions, disks, members of mappings and
/// arrays, files behind loop devices and what these in turn are stored on.
class StorageStack {
public:
    explicit StorageStack(const std::filesystem::path& folder) { addFileSystem(folder); }

    /// Whether the drive (a device node or an image file), or what a loop device is attached to, is a part of
    /// it.
    [[nodiscard]] bool contains(const std::filesystem::path& drive) const;
    /// What could not be followed; empty when nothing.
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    /// Of a device of several, how it comes to be a part.
    enum class Use { whole, byPartition };

    void addFileSystem(const std::filesystem::path& path);
    void addMountSource(const std::filesystem::path& path, dev_t number);
    void addBtrfsMembers(const std::string& name);
    void addDevice(dev_t number, Use use);
    void addFile(const std::filesystem::path& path);
    [[nodiscard]] bool containsDevice(dev_t number) const;
    void note(const std::string& problem);

    std::set<std::pair<dev_t, Use>> m_devices;
    std::set<std::pair<dev_t, ino_t>> m_files;
    std::string m_problem;
};

/// The path itself, or the nearest folder above it that exists.
std::filesystem::path nearestExisting(const std::filesystem::path& path);

}  // namespace libDrive2
