// SPDX-License-Identifier: GPL-3.0-or-later
// Asking mounted file systems for their capacity without being held up by one that does not answer.
#pragma once

#include <vector>

#include "mounts.h"

namespace zel::system {

/// Those of `mounts` that are folders and answer, with their capacities, in the same order. After two seconds
/// the others are left out and logged, and a file system that has not answered yet is not
/// asked again before its first question has ended.
std::vector<Mount> ask_mounts(const std::vector<Mount>& mounts);

}  // namespace zel::system
