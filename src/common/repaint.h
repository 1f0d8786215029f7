// SPDX-License-Identifier: GPL-3.0-or-later
// The picture after something happened to the terminal behind newt's back: a new size, or a stop (SIGTSTP,
// SIGSTOP) and what a shell wrote meanwhile. newt itself takes a new size for placing windows but goes on
// drawing in the old area.
//
// Opening all windows again at the new size was tried and is 55 lines shorter. But newt centres a window
// larger than the screen at negative places, and in long random walks S-Lang's own variables were lost then.
#pragma once

#include <agntconf/newtlib.h>

namespace zel {

/// Starts watching: takes SIGTSTP and SIGCONT, and keeps newt's own handler of SIGWINCH. Call it once
/// the help line is on the screen and before the first form.
void repaint_arm();

/// Has the form end its run with a key of its own when the terminal changed.
void repaint_watch_form(newtComponent form);

/// True when the form ended for that.
bool is_repaint(const newtExitStruct& result);

/// Brings picture and terminal together when their sizes differ or the program was stopped. What a smaller
/// terminal cuts off comes back with a larger one; windows that are open keep their place. Also takes the
/// signals again, which newt gives up under some terminals whenever a form ends.
void repaint_if_changed();

/// Stand around the opening of a window: the first keeps what lies beneath it, the second takes its shadow
/// off the help line.
void repaint_before_opening();
void repaint_after_opening();

/// Closes the window that was opened last. newt's own way to put back what lay beneath it does not survive a
/// new size.
void repaint_close_window();

}  // namespace zel
