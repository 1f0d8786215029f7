// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The maintenance panel: switches the maintenance boot mode and reboots into it on request. Runs until the
/// user leaves it, or ends at once when the mode cannot be read.
void MOVALPanel_IPMI();

}  // namespace zel
