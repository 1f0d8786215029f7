// SPDX-License-Identifier: GPL-3.0-or-later
// The kernel's own RAID arrays (md).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zel::system {

/// A disk of an array, or a part of one.
struct MdMember {
    std::string array;     ///< "md0"
    std::string name;      ///< "sda1"
    std::uint32_t errors;  ///< Read errors that were mended, since the array was put together.
};

/// Of all arrays (agent.conf, [monitor] sys_block: where else the kernel lists them). What cannot be read is left out.
std::vector<MdMember> md_members();

}  // namespace zel::system
