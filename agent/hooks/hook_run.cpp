// SPDX-License-Identifier: GPL-3.0-or-later
#include "hook_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "base/file_io.h"
#include "hook_output.h"
#include "say.h"

namespace zel::hooks {
namespace {

using Clock = std::chrono::steady_clock;

/// Reads the ends of children. This process has one of it.
base::UniqueFd& ends_of_children() {
    static base::UniqueFd file;
    return file;
}

/// The event, from its beginning; in memory, so that a hook that does not read it holds up nobody.
base::UniqueFd input_of(const EventLine& event) {
    base::UniqueFd file(memfd_create("event", MFD_CLOEXEC));
    const bool filled =
        file && base::write_all(file.get(), event.line + '\n') && lseek(file.get(), 0, SEEK_SET) == 0;
    return filled ? std::move(file) : base::UniqueFd();
}

std::vector<pid_t> children() {
    constexpr std::size_t kMost = std::size_t{64} << 10;
    std::string text;
    const auto file = base::open_file("/proc/thread-self/children", O_RDONLY);
    if (!file || !base::read_at_most(file.get(), kMost, text)) return {};
    std::vector<pid_t> found;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (pid_t one = 0; at < end; ++at) {
        const auto [stop, error] = std::from_chars(at, end, one);
        if (error != std::errc{}) break;
        found.push_back(one);
        at = stop;
    }
    return found;
}

class Hook {
  public:
    Hook(const std::string& name, const EventLine& event) : name_(name), event_(event), output_(name) {}

    bool start(int program) {
        const base::UniqueFd input = input_of(event_);
        const base::UniqueFd output = input ? output_.open() : base::UniqueFd();
        const pid_t parent = getpid();
        if (output) process_ = fork();
        if (process_ == 0) become(program, input.get(), output.get(), parent);
        if (process_ > 0) return true;
        tell(std::string("cannot be started: ") + std::strerror(errno));
        return false;
    }

    /// False when the time was over before all had ended.
    bool wait_until(Clock::time_point deadline) {
        while (reap()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            if (left <= 0) return false;
            wait_for_change(static_cast<int>(left));
        }
        return true;
    }

    /// Kills what there is until there is nothing: whoever is killed leaves its children to us. False when that
    /// does not come to an end, as with a process of another user.
    bool kill_all() {
        constexpr std::chrono::seconds kLongest{5};
        constexpr int kPause = 10;
        const auto deadline = Clock::now() + kLongest;
        while (reap()) {
            if (Clock::now() >= deadline) return false;
            if (!ended_) kill(-process_, SIGKILL);
            for (const pid_t one : children())
                kill(one, SIGKILL);
            wait_for_change(kPause);
        }
        return true;
    }

    void tell_end(bool in_time, std::chrono::seconds longest) {
        output_.finish();
        if (!in_time)
            tell("not done after " + std::to_string(longest.count()) + " s; what was left of it is killed");
        else if (WIFSIGNALED(status_))
            tell("ended by signal " + std::to_string(WTERMSIG(status_)));
        else if (WEXITSTATUS(status_) != 0)
            tell("ended with status " + std::to_string(WEXITSTATUS(status_)));
    }

    void tell(const std::string& what) const {
        say(name_ + ", event " + std::to_string(event_.seq) + ": " + what);
    }

  private:
    /// The child's way to the hook.
    [[noreturn]] void become(int program, int input, int output, pid_t parent) {
        constexpr int kProgram = 3;  // stays open: an interpreter reads the script by it
        std::vector<std::string> words = event_.variables;
        words.emplace_back("PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
        words.emplace_back("LANG=C.UTF-8");
        std::vector<char*> environment;
        environment.reserve(words.size() + 1);
        for (std::string& word : words)
            environment.push_back(word.data());
        environment.push_back(nullptr);
        std::array<char*, 2> arguments{name_.data(), nullptr};

        // Not without somebody who counts the time.
        if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) _exit(EXIT_FAILURE);
        sigset_t none;
        sigemptyset(&none);
        const bool ready =
            setsid() > 0 && dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
            dup2(output, STDERR_FILENO) >= 0 &&
            (program == kProgram ? fcntl(program, F_SETFD, 0) : dup2(program, kProgram)) >= 0 &&
            close_range(kProgram + 1, ~0U, 0) == 0 && chdir("/") == 0 &&
            sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
        if (ready) fexecve(kProgram, arguments.data(), environment.data());
        base::write_all(STDERR_FILENO, std::string("cannot be run: ") + std::strerror(errno) + '\n');
        _exit(EXIT_FAILURE);
    }

    /// False when no process of the hook is left.
    bool reap() {
        for (;;) {
            int status = 0;
            const pid_t one = waitpid(-1, &status, WNOHANG);
            if (one < 0 && errno != EINTR) return false;
            if (one == 0) return true;
            if (one != process_) continue;
            ended_ = true;
            status_ = status;
        }
    }

    /// Until a process ends, writes or the time is over.
    void wait_for_change(int milliseconds) {
        std::array<pollfd, 2> changes{{{.fd = ends_of_children().get(), .events = POLLIN, .revents = 0},
                                       {.fd = output_.readable(), .events = POLLIN, .revents = 0}}};
        if (poll(changes.data(), changes.size(), milliseconds) <= 0) return;
        signalfd_siginfo info{};
        while (read(ends_of_children().get(), &info, sizeof info) > 0) {
        }
        output_.read();
    }

    std::string name_;
    const EventLine& event_;
    HookOutput output_;
    pid_t process_ = -1;
    bool ended_ = false;  ///< And waited for: its number may be another process's by now.
    int status_ = 0;
};

}  // namespace

bool adopt_orphans() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0 || sigprocmask(SIG_BLOCK, &ends, nullptr) != 0) return false;
    ends_of_children() = base::UniqueFd(signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK));
    return static_cast<bool>(ends_of_children());
}

bool run_hook(const std::string& name, int program, const EventLine& event, std::chrono::seconds longest) {
    Hook hook(name, event);
    if (!hook.start(program)) return true;
    const bool in_time = hook.wait_until(Clock::now() + longest);
    const bool gone = in_time || hook.kill_all();
    hook.tell_end(in_time, longest);
    if (!gone) hook.tell("some of it cannot be killed");
    return gone;
}

}  // namespace zel::hooks
