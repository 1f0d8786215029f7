// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zel {

/// The file-system panel: sampling interval, and the fill-level thresholds of each file system as percent
/// in use or free MiB. Runs until the user leaves it, or ends at once when it cannot be set up.
void FilePanel();

}  // namespace zel
