// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The shutdown panel: the watch for hangs during shutdown, its time-out and its two actions. Runs until the
/// user leaves it; settings that cannot be read are shown but cannot be edited.
void ShutdownPanel();

}  // namespace zel
