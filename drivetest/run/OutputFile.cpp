#include "drivetest/run/OutputFile.h"

#include <utility>

namespace drivetest {

OutputFile OutputFile::borrow(int descriptor) {
    OutputFile file;
    file.m_descriptor = descriptor;
    return file;
}

OutputFile OutputFile::adopt(int descriptor, std::string created) {
    OutputFile file = borrow(descriptor);
    file.m_owned = descriptor >= 0;
    file.m_created = std::move(created);
    return file;
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)),
      m_owned(std::exchange(other.m_owned, false)),
      m_created(std::exchange(other.m_created, {})),
      m_isNameDurable(other.m_isNameDurable),
      m_isAlone(other.m_isAlone) {}

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_owned, other.m_owned);
    std::swap(m_created, other.m_created);
    std::swap(m_isNameDurable, other.m_isNameDurable);
    std::swap(m_isAlone, other.m_isAlone);
    return *this;
}

}  // namespace drivetest
