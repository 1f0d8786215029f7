// SPDX-License-Identifier: GPL-3.0-or-later
// Texts measured as the terminal shows them: a kanji takes two columns and, in UTF-8, three bytes.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace zel {

/// Makes the locale of the environment the one that texts are measured and shown in. Where a UTF-8 locale
/// is asked for but not installed, C.UTF-8 stands in, for newt as well. All else that a locale tells, as numbers, is as
/// in the C locale, for the whole process.
void prepare_locale();

/// The text's longest beginning of at most `limit` bytes that does not end inside a UTF-8 character.
std::string_view cut_bytes(std::string_view text, std::size_t limit);

/// Columns that the text takes on the screen.
int columns_of(std::string_view text);

/// The text cut or padded with blanks to exactly `columns` columns. A wide character that would be cut in
/// half gives way to a blank; what cannot be shown, or must not (chars/plain.h), becomes "?".
std::string fit(std::string_view text, int columns);

/// The text as it can be shown: what cannot becomes "?".
std::string printable(std::string_view text);

/// The same for a text of several lines: their line feeds stay.
std::string printable_lines(std::string_view text);

/// The same in at most `columns` columns (4 or more); of a longer one the end is kept,
/// behind "...", since paths differ at their ends.
std::string shorten(std::string_view text, int columns);

/// The same, but of a longer one the beginning is kept, in front of "...": names differ there.
std::string abbreviate(std::string_view text, int columns);

struct FreeMemory {
    void operator()(char* memory) const;
};
/// Zero-filled memory from the C library, so that a failed allocation is a null and not an exception.
using Buffer = std::unique_ptr<char, FreeMemory>;

/// `size` zero bytes, or null.
Buffer allocate_buffer(std::size_t size);

/// The zero-ended UTF-8 text in the character set of the locale, "?" standing for what it does not have,
/// followed by at least `padding` zero bytes. Null when nothing needs converting or nothing can, and for a
/// text that is not UTF-8: that is taken to be in the locale's character set already.
Buffer recode_for_screen(const char* text, std::size_t padding);

}  // namespace zel
