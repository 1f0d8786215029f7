// SPDX-License-Identifier: GPL-3.0-or-later
// How what was asked for ended.
#pragma once

namespace zel::ctl {

/// The program's exit status; each has one meaning.
enum class Exit {
    done = 0,
    differs = 1,
    usage = 2,
    invalid = 3,        ///< Nothing was written.
    tag_differs = 4,    ///< Nothing was written.
    in_part = 5,        ///< Some is written; what is not is told.
    no_service = 6,     ///< Written; the service was not there to take it up.
    no_controller = 7,  ///< It did not answer, or there is none; nothing was written.
    not_permitted = 8,
    no_such_object = 9,
    failed = 10,  ///< The system did not do its part: a full disk, an output that is closed.
};

}  // namespace zel::ctl
