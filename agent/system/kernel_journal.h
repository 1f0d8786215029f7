// SPDX-License-Identifier: GPL-3.0-or-later
// What the kernel itself said, from the system's journal. Lines that a process wrote, under whatever name, or into the
// kernel's buffer by hand, are not among them.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace zel::system {

/// Where a reader of the journal stands, as text. Empty: at the end, as it is when reading begins.
using JournalPosition = std::string;

enum class JournalState {
    read,  ///< To its end, or as many lines as are read at a time.
    none,  ///< There is no journal.
    unreadable,
};

/// Reads what was said since `position`, oldest first, and moves it behind that. Rotation, a restart of the machine and
/// a clock that is set back change nothing; of lines that the journal has dropped, the next one follows.
/// (agent.conf, [monitor] journal: the folder of another journal than the system's.) Of 20,000 lines and more the others are
/// for the next time.
/// @param take  Is given each line, of any bytes but cut at 1,024, and its own position.
JournalState read_kernel_lines(
    JournalPosition& position,
    const std::function<void(std::string_view line, const JournalPosition& at)>& take);

}  // namespace zel::system
