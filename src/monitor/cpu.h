// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The CPU load panel: sampling, and the load thresholds of the whole machine and of each CPU. Runs until
/// the user leaves it, or ends at once when the settings cannot be read.
void CpuPanel();

}  // namespace zel
