#pragma once

#include <fstream>
#include <string>
#include <string_view>

namespace drivetest {

/// A file that is made as a whole or not at all: written beside its place, and put there by keep().
class NewFile {
public:
    /// What is there already is replaced only with `mayReplace`.
    NewFile(std::string path, bool mayReplace) : m_path(std::move(path)), m_mayReplace(mayReplace) {}
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    [[nodiscard]] bool open();
    [[nodiscard]] bool write(std::string_view part);
    [[nodiscard]] bool keep();

    /// A sentence, after one of them failed.
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    bool refuse(const std::string& why);

    std::string m_path;
    std::string m_partPath;  ///< empty when there is no such file
    bool m_mayReplace;
    std::ofstream m_file;
    std::string m_problem;
};

}  // namespace drivetest
