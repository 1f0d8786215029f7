// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The watchdog panel: the watch for hangs of the operating system, its time-out, update interval and two
/// actions. Runs until the user leaves it; settings that cannot be read are shown but cannot be edited.
void WDTPanel();

}  // namespace zel
