// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The blade panel: switches the sharing of the chassis' sensors. Runs until the user leaves it, or ends at
/// once when the sensor-sharing library or its status is not to be had.
void BladePanel();

}  // namespace zel
