#pragma once

#include <string>
#include <string_view>

namespace drivetest {

/// A page of HTML as PDF, made by a browser or WeasyPrint; empty after a sentence in `problem`.
std::string printPdf(std::string_view page, std::string& problem);

}  // namespace drivetest
