// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The RAID controller panel: the interval at which the Mylex controllers are watched. Runs until the user
/// leaves it, or ends at once when the interval cannot be read.
void MylexPanel();

}  // namespace zel
