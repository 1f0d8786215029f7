// SPDX-License-Identifier: GPL-3.0-or-later
// What the runners of cases do with texts.
#pragma once
#include <functional>
#include <string>
#include <vector>

namespace zeltest {

std::string trimmed(std::string text);

/// The parts between the marks, without blanks around them.
std::vector<std::string> split(const std::string& text, const std::string& mark);

std::string joined(const std::string& left, const std::string& right, const char* between = " ");

/// Every match of the pattern replaced by what `with` makes of it.
void replace(std::string& text, const char* pattern, const std::function<std::string(std::string)>& with);

/// A picture of the screen, frames, line ends and the room of entries being one blank.
std::string plain(std::string picture);

/// {x*99} is a repetition, \x1b a byte.
void expand(std::string& text);

/// Whether they are the same, "..." in front or behind standing for anything.
bool fits(std::string expected, const std::string& actual);

}  // namespace zeltest
