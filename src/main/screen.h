// SPDX-License-Identifier: GPL-3.0-or-later
// The screen: colours, help line and root text.
#pragma once

namespace zel {

/// Opens the full-screen interface. The terminal must have been found usable; when newt refuses it all the
/// same, one line says so and the process ends; for a TERM that is not known, after `let_go`.
void NewtStartUp(void (*let_go)());

/// Shows S-Lang's colour object 14, newt's active list box, as the CPU panel wants it, or (false) as every
/// other dialog does.
void use_cpu_list_colours(bool cpu);

}  // namespace zel
