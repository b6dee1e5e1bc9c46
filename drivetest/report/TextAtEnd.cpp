#include "drivetest/report/TextAtEnd.h"

#include <utility>

#include "drivetest/terminal/Texts.h"

namespace drivetest {

TextAtEnd::TextAtEnd(std::string path, OutputFile file) : m_path(std::move(path)), m_file(std::move(file)) {}

void TextAtEnd::begin(const RunStart& start) {
    m_title = printable(start.test.name().utf8() + " on " + start.device.osLocator().utf8());
}

void TextAtEnd::end(const RunSummary& summary) {
    m_isWritten = m_file.begin() && m_file.write(text(summary));
}

}  // namespace drivetest
