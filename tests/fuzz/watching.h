// SPDX-License-Identifier: GPL-3.0-or-later
// Readers that stand beside those of readers.cpp.
#pragma once

#include <stdexcept>
#include <string_view>

#include "home.h"

namespace zel::test {

using Input = std::string_view;

/// Ends the process: a reader did what it must not.
inline void require(bool holds, const char* what) {
    if (!holds) throw std::logic_error(what);
}

/// Writes a file of the agent's directory, in a folder that need not be there.
inline void put(const std::string& name, Input text) {
    fs::create_directories(fs::path(home(name)).parent_path());
    write_text(home(name), std::string(text));
}

void read_proc_stat(Input text);
void read_counters(Input text);
void read_events(Input text);
void read_state(Input text);
void read_logs(Input input);
void read_document(Input text);

}  // namespace zel::test
