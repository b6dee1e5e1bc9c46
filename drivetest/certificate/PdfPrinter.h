#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace drivetest {

/// A page of HTML as PDF, made by a browser or WeasyPrint; empty after a sentence in `problem`. A program
/// that takes longer than `longest` is ended.
std::string printPdf(std::string_view page, std::string& problem,
                     std::chrono::seconds longest = std::chrono::seconds(60));

}  // namespace drivetest
