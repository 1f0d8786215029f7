// SPDX-License-Identifier: GPL-3.0-or-later
// What the kernel itself said, from the system's journal. Lines that a process wrote, under whatever name, or into the
// kernel's buffer by hand, are not among them.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace zel::system {

/// Where a reader of the journal stands, as text. Empty: at the end, as it is when reading begins.
using JournalPosition = std::string;

enum class JournalState {
    read,  ///< To its end, or as many lines as were wanted.
    none,  ///< There is no journal.
    unreadable,
};

/// Reads what was said since `position`, oldest first, and moves it behind that. Rotation, a restart of the machine and
/// a clock that is set back change nothing; of lines that the journal has dropped, the next one follows.
/// @param folder  Of journal files; empty for the system's.
/// @param most    Lines at most. The others are for the next time.
/// @param take    Is given each line, of any bytes but cut at 1,024, and its own position.
JournalState read_kernel_lines(
    const std::string& folder, JournalPosition& position, std::size_t most,
    const std::function<void(std::string_view line, const JournalPosition& at)>& take);

}  // namespace zel::system
