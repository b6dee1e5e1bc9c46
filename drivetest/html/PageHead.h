#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "drivetest/html/HtmlWriter.h"

namespace drivetest {

/// Only scripts that carry it run: whatever a text might smuggle in cannot know it.
std::string makeNonce();

/// The head of a page that needs no other file. Without a nonce no scripts run.
void writePageHead(HtmlWriter& html, const std::string& title, std::initializer_list<std::string_view> styles,
                   const std::string& nonce = {});

/// A script of the program's own.
void writeScript(HtmlWriter& html, std::string_view script, const std::string& nonce);

}  // namespace drivetest
