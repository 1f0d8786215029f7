// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The LAN panel: sampling interval and error thresholds of the network interfaces. Runs until the user
/// leaves it.
void LanPanel();

}  // namespace zel
