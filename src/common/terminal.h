// SPDX-License-Identifier: GPL-3.0-or-later
// What happens to the terminal when things go wrong: it is given back as it was found, and the program
// ends with status 0, from any depth of nested dialogs.
#pragma once

namespace zel {

/// Makes two things that would kill the process end it in order, or not at all: an exception that nobody
/// caught, such as memory that ran out, gives the terminal back and ends with status 0 and a line on standard
/// error; a reader of our output that has gone is no signal but a failed write. Call it first of all.
void prepare_endings();

/// Why no full-screen program can run here (no terminal on standard input or output, no TERM), as one line of text
/// for the user, or null. That TERM is not known shows in newtInit, which then ends the program with such a line.
const char* terminal_problem();

/// Says in one line, before the screen opens, that a terminal is too small to show every panel whole.
void warn_of_small_terminal();

/// Remembers the terminal's modes, and what is to be done before the program ends because TERM is not known. Call it
/// before newtInit.
void terminal_remember(void (*let_go)());

/// Takes the signals that end the program (HUP, TERM, INT, QUIT), and those of a crash, and prepares the
/// bytes that reset the screen. Call it after newtInit; S-Lang must be bound.
void terminal_arm();

/// Restores the terminal's modes and its own screen, as far as terminal_remember and terminal_arm prepared
/// that. Fit for a signal handler.
void terminal_give_back();

/// While it lives, Ctrl-C is a key like others. Without it Ctrl-C ends the program, as INT does: where no
/// form waits for keys, a library waits for something that may take long. For as long as newt has the
/// terminal.
class CtrlCIsAKey {
  public:
    CtrlCIsAKey();
    ~CtrlCIsAKey();
    CtrlCIsAKey(const CtrlCIsAKey&) = delete;
    CtrlCIsAKey& operator=(const CtrlCIsAKey&) = delete;
};

/// Ends the program because the terminal does not answer any more. No window may be opened on a dead
/// terminal: newt would wait for its input to become empty for ever.
[[noreturn]] void terminal_lost();

/// Flushes what was printed and ends the process with status 0, without running static destructors under
/// a thread that may still be at work.
[[noreturn]] void end_process();

}  // namespace zel
