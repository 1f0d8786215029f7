// SPDX-License-Identifier: GPL-3.0-or-later
// The message catalogue: every text of the screen, looked up by identifier in a file that is read whole
// into memory at start-up. The file is outside input: nothing in it is trusted.
//
//   [CPU_ENABLE_ID]="Enable monitoring"
//
// An entry begins at the start of a line with "[" and the identifier; its text stands between the double
// quotes after the next "=". Identifiers are compared as prefixes, so none may begin another's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace zel {

inline constexpr std::size_t kTextBufferSize = 1024;

/// What stands for a text that the catalogue does not have.
inline constexpr char kMissingText[] = "No Such Name";

/// The catalogue in memory, ended by zero bytes; null when it is not loaded. Owned by the start-up code.
extern char* ZEL_RcFileBuf;

/// The buffer that look-ups write to. Every look-up overwrites it: take `text()` for an own copy.
extern char ReadString[kTextBufferSize];

/// The value of LANG, or null.
const char* GetEnvLang();

/// Opens the catalogue `name` (with its leading slash) in the agent's directory for reading.
/// Returns the stream, which the caller closes, and the file's size in `*length`; null on failure.
std::FILE* OpenStrFile(const char* name, std::uint32_t* length);

/// Finds the identifier's text in the catalogue `buffer` and keeps it for `CPGetText`.
/// Returns -1 when there is no catalogue, else 0, also when the identifier is missing.
int CPFindDestStr(const char* buffer, const char* identifier);

/// Copies the identifier's text (at most 1023 bytes) or "No Such Name" into `destination`, which holds
/// `kTextBufferSize` bytes, and returns it. Without a catalogue a message box says so first.
char* CPGetText(const char* identifier, char* destination, const char* buffer);

/// The identifier's text as an own copy, safe across further look-ups.
std::string text(const char* identifier);

/// A value for a conversion of a catalogue text.
using FormatArgument = std::variant<int, std::string_view>;

/// Formats a text that comes from outside: "%d" takes the next argument when it is a number, "%s" when it
/// is a string, "%%" is one "%". Whatever else begins with "%" is copied as it stands. The result is cut
/// to `limit` bytes, never inside a character.
std::string format_text(std::string_view format, std::initializer_list<FormatArgument> arguments,
                        std::size_t limit = kTextBufferSize - 1);

}  // namespace zel
