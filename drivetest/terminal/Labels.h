#pragma once

#include <string>

namespace drivetest {

/// What a line of an event begins with: such a text as words("error:"), in as many columns as the longest of
/// them takes in the language; further lines of it begin with eventIndent().
std::string eventLabel(const std::string& text);
std::string eventIndent();

/// What a line of a summary begins with, such as words("bad"), in the same way; further ones under it begin
/// with summaryIndent().
std::string summaryLabel(const std::string& text);
std::string summaryIndent();

}  // namespace drivetest
