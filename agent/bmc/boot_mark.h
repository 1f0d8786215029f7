// SPDX-License-Identifier: GPL-3.0-or-later
// What this agent has under way among a controller's boot options. The controller itself does not say whose
// change is in progress, and forgets what stood before.
//
//   SOFTWARE/QUD/ZELAgent/Maintenance
//     Controller   whom the next two are about, as Settings::target()
//     Changing     1 while a change of ours may be in progress, else 0
//     Clearing     when the controller dropped boot flags before we asked it to keep them; 256 when it
//                  has that back
#pragma once

#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string>

#include "base/file_io.h"

namespace zel::bmc {

struct BootMark {
    std::string controller;
    bool changing = false;
    std::optional<std::uint8_t> clearing{};

    bool operator==(const BootMark&) const = default;
};

/// The mark of a controller; an empty one when there is none, or it is another controller's.
BootMark read_boot_mark(const std::string& controller);

/// Durable when it returns true; the reason is traced when it does not.
bool write_boot_mark(const BootMark& mark);

/// Keeps other processes of this agent from the boot options; the kernel takes it from a process that dies,
/// so that a mark found behind it is of nobody who still works.
/// @return No descriptor, traced, when another one held it for `longest`.
base::UniqueFd lock_boot_options(std::chrono::milliseconds longest);

/// While it lives, HUP, TERM, INT and QUIT wait, as far as this thread goes: the tool ends in its handler,
/// whatever is half done.
class EndHeldBack {
  public:
    EndHeldBack();
    ~EndHeldBack();
    EndHeldBack(const EndHeldBack&) = delete;
    EndHeldBack& operator=(const EndHeldBack&) = delete;

    /// True when one of them waits.
    [[nodiscard]] bool wanted() const;

  private:
    sigset_t ending_{};
    sigset_t before_{};
};

}  // namespace zel::bmc
