// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "event.h"

namespace zel::tell {

/// Puts an event into the system's journal, its fields beside its message. Where there is none, nothing happens.
void send_to_journal(const Event& event);

}  // namespace zel::tell
