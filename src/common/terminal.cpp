// SPDX-License-Identifier: GPL-3.0-or-later
#include "terminal.h"

#include <agntconf/newtlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <zel/trace.h>

#include <array>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>

namespace zel {

namespace {

constexpr char kModule[] = "terminal";
constexpr char kUnknownTerminal[] =
    "ZELagntconf: the terminal named by TERM is not known or cannot show a screen.";

// Shared with the signal handler, which may only use what is ready: no allocation, no library call.
termios saved_modes{};
bool modes_saved = false;
bool screen_begun = false;  // newt has the terminal
void (*let_go_of_agent)() = nullptr;
std::array<char, 256> reset_bytes{};
std::size_t reset_length = 0;

void on_ending_signal(int) {
    terminal_give_back();
    _exit(0);
}

constexpr std::array kCrashes = {SIGSEGV, SIGBUS, SIGABRT, SIGILL, SIGFPE};
std::array<struct sigaction, kCrashes.size()> actions_before{};

// newt does not look whether it got the memory that it asked for. The crash goes on as it would have without
// us, but on a terminal that shows what the shell says of it.
void on_crash(int signal_number) {
    terminal_give_back();
    for (std::size_t i = 0; i < kCrashes.size(); ++i)
        if (kCrashes[i] == signal_number) sigaction(signal_number, &actions_before[i], nullptr);
    std::raise(signal_number);
}

// S-Lang's last word is exit(1); this net keeps the status 0 and says what it said. Before newt has the terminal,
// only its description can have failed: asking for it beforehand would read it twice.
void on_slang_error(const char* format, va_list arguments) {
    if (!screen_begun) {
        std::fprintf(stderr, "%s\n", kUnknownTerminal);
        let_go_of_agent();
        ZEL_TRACE_AS("main", TRACE_LEVEL_ERROR, "<%s exit(0).", kUnknownTerminal);
        end_process();
    }
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
    end_process();
}

void set_interrupt_key(cc_t key) {
    termios modes{};
    if (!modes_saved || tcgetattr(STDIN_FILENO, &modes) != 0 || modes.c_cc[VINTR] == key) return;
    modes.c_cc[VINTR] = key;
    tcsetattr(STDIN_FILENO, TCSANOW, &modes);
}

// Nothing is unwound: what lies in between is newt's, and memory is short.
void on_uncaught_exception() {
    terminal_give_back();
    try {
        std::rethrow_exception(std::current_exception());
    } catch (const std::bad_alloc&) {
        std::fputs("ZELagntconf: there is not enough memory.\n", stderr);
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "<out of memory.exit(0).");
    } catch (...) {
        std::fputs("ZELagntconf: an error in the program itself.\n", stderr);
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<uncaught exception.exit(0).");
    }
    end_process();
}

void append_reset(std::string_view bytes) {
    if (reset_length + bytes.size() > reset_bytes.size()) return;
    std::memcpy(reset_bytes.data() + reset_length, bytes.data(), bytes.size());
    reset_length += bytes.size();
}

}  // namespace

void prepare_endings() {
    std::set_terminate(on_uncaught_exception);
    // A handler and not SIG_IGN: programs that we start find the signal as it was.
    struct sigaction action {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

const char* terminal_problem() {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
        return "ZELagntconf: standard input and standard output must be a terminal.";
    const char* term = std::getenv("TERM");
    if (term == nullptr || *term == '\0') return "ZELagntconf: the environment variable TERM is not set.";
    if (std::string_view(term) == "dumb") return kUnknownTerminal;
    return nullptr;
}

void warn_of_small_terminal() {
    constexpr int kColumns = 80;
    constexpr int kRows = 24;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return;
    if (size.ws_col >= kColumns && size.ws_row >= kRows) return;
    std::fprintf(stderr,
                 "ZELagntconf: the terminal has %d columns and %d rows; panels need up to %d and %d.\n",
                 size.ws_col, size.ws_row, kColumns, kRows);
}

void terminal_remember(void (*let_go)()) {
    let_go_of_agent = let_go;
    modes_saved = tcgetattr(STDIN_FILENO, &saved_modes) == 0;
    *slang.SLang_Exit_Error_Hook = on_slang_error;
}

void terminal_arm() {
    screen_begun = true;
    reset_length = 0;
    // Mouse reporting off (newt's pointer support turns it on under xterm), then the terminal's own
    // strings: colours, attributes, cursor, keypad, screen.
    const char* term = std::getenv("TERM");
    if (term != nullptr && std::string_view(term).starts_with("xterm"))
        append_reset("\033[?1000l\033[?1001r");
    for (const char* capability : {"op", "me", "ve", "ke", "te"}) {
        const char* bytes = slang.SLtt_tgetstr(capability);
        if (bytes != nullptr) append_reset(bytes);
    }
    struct sigaction action {};
    action.sa_handler = on_ending_signal;
    sigfillset(&action.sa_mask);
    for (int signal_number : {SIGHUP, SIGTERM, SIGINT, SIGQUIT})
        sigaction(signal_number, &action, nullptr);
    action.sa_handler = on_crash;
    for (std::size_t i = 0; i < kCrashes.size(); ++i)
        sigaction(kCrashes[i], &action, &actions_before[i]);
}

void terminal_give_back() {
    if (modes_saved) tcsetattr(STDIN_FILENO, TCSANOW, &saved_modes);
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, reset_bytes.data(), reset_length);
}

CtrlCIsAKey::CtrlCIsAKey() {
    set_interrupt_key(_POSIX_VDISABLE);
}

CtrlCIsAKey::~CtrlCIsAKey() {
    set_interrupt_key(saved_modes.c_cc[VINTR]);
}

void terminal_lost() {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "<the terminal is gone.exit(0).");
    newt.newtFinished();
    end_process();
}

void end_process() {
    std::fflush(nullptr);
    _exit(0);
}

}  // namespace zel
