// SPDX-License-Identifier: GPL-3.0-or-later
// From what is wanted to what has to change.
#pragma once

#include <span>

#include "exit.h"
#include "machine.h"

namespace zel::ctl {

struct Plan {
    Values wanted;
    std::vector<Change> changes;
    Exit exit = Exit::done;  ///< invalid or no_such_object where there are problems.
};

/// Judges all wishes, each and together; what is wrong with them is among the problems.
/// @param unknown  What a path makes of the plan that no setting has; an object that is not here makes it
///                 no_such_object.
Plan make_plan(const Machine& machine, std::span<const Wish> wishes, Exit unknown, Problems& problems);

/// Says that there is no such path, and which there is.
/// @return `unknown`, or no_such_object for a path of an object that is not here.
Exit tell_unknown(const Machine& machine, const std::string& path, Problems& problems,
                  Exit unknown = Exit::no_such_object);

/// Adds the resources that the paths begin with to `names`; unknown ones are problems.
Exit add_resources(std::span<const std::string> paths, Names& names, Problems& problems);

/// All resources; those of the controller only where there is one.
Names all_resources();

}  // namespace zel::ctl
