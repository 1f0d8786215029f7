// SPDX-License-Identifier: GPL-3.0-or-later
// Lines and words of the SNMP daemon's configuration files.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/file_io.h"

namespace zel::system {

/// The words of one line: separated by blanks, or in "..." or '...'; a backslash takes the next character; a
/// "#" at the start of a word begins a comment.
class Words {
  public:
    /// @param cut  True when the line goes on beyond `text`: a word that reaches its end is then none.
    Words(std::string_view text, bool cut) : text_(text), cut_(cut) {}

    /// Takes the next word; false when there is none.
    bool next(std::string& word);

    /// What is left of the line, without blanks around it; empty when a comment begins, or when it is cut.
    std::string_view rest();

  private:
    void skip_blanks();

    std::string_view text_;
    bool cut_;
};

/// The lines of a file, in memory one after the other.
class Lines {
  public:
    /// @param longest_line  Bytes of a line that are kept; the rest of it is skipped.
    /// @param most          Bytes of the file that are read.
    Lines(const base::UniqueFd& file, std::size_t longest_line, std::size_t most);

    /// Goes on to the next line; false after the last one.
    bool next();

    /// The present line's words, valid until the next line.
    [[nodiscard]] Words words() const { return {line_, cut_}; }

  private:
    bool fill();
    void append(std::string_view part);

    int file_;
    std::size_t longest_line_;
    std::size_t left_;
    std::string buffer_;
    std::string_view unread_;
    std::string line_;
    bool cut_ = false;
};

}  // namespace zel::system
