// SPDX-License-Identifier: GPL-3.0-or-later
// The boot loader's entry for the next boot only: `next_entry` in GRUB's environment block.
//
//   agent.conf
//   [maintenance]
//   grubenv=/boot/grub/grubenv             the environment block
//   grub_editenv=/usr/bin/grub-editenv     the program that changes it
#pragma once

#include <optional>
#include <string>

namespace zel::system {

/// The entry; empty when there is none. Nothing, with the reason traced, when that cannot be read.
std::optional<std::string> next_grub_entry();

/// Sets the entry; an empty one removes it. Waits ten seconds at the longest.
/// @param entry  Without control characters.
/// @return False, with the reason traced, when the environment block does not have it so afterwards.
bool set_next_grub_entry(const std::string& entry);

}  // namespace zel::system
