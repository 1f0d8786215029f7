// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel::service {

/// Says in the registry, for the other programs, which agent this is and what it has: `CurrentVersion`, and
/// `CplTabView` where there is a management controller. Only what is missing is written. A registry that does
/// not parse is left as it is, and logged. False, and logged, when a value cannot be written.
bool write_first_values();

}  // namespace zel::service
