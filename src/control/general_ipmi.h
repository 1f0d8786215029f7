// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The general panel: SNMP flags and community, rack mount name, and the chassis light. Runs until the user
/// leaves it, or ends at once when the settings cannot be read.
void GeneralPanel();

}  // namespace zel
