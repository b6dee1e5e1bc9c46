#pragma once

#include <string>
#include <string_view>

#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// A file that a program which looks into its folder every now and then takes as it is: it is made under a
/// name that nobody looks for, and takes the place of the one before when all of it is on the disk. Whatever
/// happens, one of both is there. What runs left that were killed meanwhile is cleared away.
class CollectorFile {
public:
    CollectorFile(const std::string& folder, const std::string& name);
    ~CollectorFile();
    CollectorFile(const CollectorFile&) = delete;
    CollectorFile& operator=(const CollectorFile&) = delete;

    [[nodiscard]] bool open();
    [[nodiscard]] bool write(std::string_view part);
    [[nodiscard]] bool keep();

    [[nodiscard]] const std::string& path() const { return m_path; }
    /// A sentence, after one of them failed.
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    bool refuse(const std::string& why);
    void clearAway() const;

    std::string m_path;
    std::string m_partPath;  ///< empty where there is no such file
    OutputFile m_file;
    std::string m_problem;
};

}  // namespace drivetest
