// SPDX-License-Identifier: GPL-3.0-or-later
// From what is wanted to what has to change.
#pragma once

#include <span>

#include "document.h"
#include "exit.h"
#include "machine.h"

namespace zel::ctl {

struct Plan {
    Values wanted;
    std::vector<Change> changes;
    Exit exit = Exit::done;  ///< invalid or no_such_object where there are problems.
};

/// Judges all wishes, each and together; what is wrong with them is among the problems.
Plan make_plan(const Machine& machine, std::span<const Wish> wishes, Problems& problems);

/// Says that there is no such path, and which there is.
Exit tell_unknown(const Machine& machine, const std::string& path, Problems& problems);

/// Adds the resources that the paths begin with to `names`; unknown ones are problems.
Exit add_resources(std::span<const std::string> paths, Names& names, Problems& problems);

/// All resources; those of the controller only where there is one.
Names all_resources();

}  // namespace zel::ctl
