#pragma once

#include <string>
#include <vector>

#include "libDrive2/JournalRecovery.h"

namespace drivetest {

/// Writes what recovery does not put on a drive into files of a folder: "PREFIX-original-LBA.bin" and
/// "PREFIX-found-LBA.bin", each the sectors from that LBA on. Existing files are kept; a number tells the new
/// ones apart.
class ExportFolder : public libDrive2::RecoverySink {
public:
    ExportFolder(std::string folder, std::string prefix)
        : m_folder(std::move(folder)), m_prefix(std::move(prefix)) {}

    bool saveSectors(std::uint64_t lba, std::span<const std::uint8_t> data, What what) override;

    [[nodiscard]] const std::vector<std::string>& files() const { return m_files; }
    /// Why a file could not be written; empty when all were.
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    std::string m_folder;
    std::string m_prefix;
    std::vector<std::string> m_files;
    std::string m_problem;
};

/// Creates the file and returns when its data is durable; false after a sentence in `error`.
bool writeDurably(const std::string& path, std::span<const std::uint8_t> data, std::string& error);

}  // namespace drivetest
