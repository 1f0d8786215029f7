// SPDX-License-Identifier: GPL-3.0-or-later
// A dead server's file system holds whoever asks it, beyond every signal; a thread held so keeps its whole
// process from ending. So child processes ask. They share a board with the caller on which the questions are
// taken one by one and the answers stand; a child that hangs is left behind, and another one goes on.
#include "mount_probe.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <limits>
#include <mutex>
#include <optional>

#include "base/file_io.h"
#include "probe_board.h"
#include "zel/trace.h"

namespace zel::system {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kModule = "mount_probe";
constexpr std::chrono::seconds kLongest{2};
/// A mount that takes longer is left to the child that asks it, while another one asks the rest.
constexpr std::chrono::milliseconds kPatience{100};
constexpr std::size_t kNothingMore = std::numeric_limits<std::size_t>::max();
constexpr std::size_t kNothingYet = kNothingMore - 1;

void ask(const char* path, Answer& answer) {
    struct stat kind {};
    struct statfs info {};
    if (::statfs(path, &info) != 0 || ::stat(path, &kind) != 0) answer.error = errno;
    answer.folder = S_ISDIR(kind.st_mode);
    answer.blocks = static_cast<std::uint64_t>(info.f_blocks);
    answer.block_size = static_cast<std::uint64_t>(info.f_bsize);
    const auto unit = static_cast<std::uint64_t>(info.f_frsize != 0 ? info.f_frsize : info.f_bsize);
    answer.used = (answer.blocks - std::min<std::uint64_t>(answer.blocks, info.f_bfree)) * unit;
    answer.available = static_cast<std::uint64_t>(info.f_bavail) * unit;
    answer.given = true;
}

/// The children that hang, and the file systems that they hang in.
class Hanging {
  public:
    struct One {
        pid_t process;
        std::optional<std::uint64_t> device;  ///< Nothing when it is not known.
    };

    static void add(One one) {
        const std::lock_guard guard(mutex());
        all().push_back(one);
    }

    /// Those that still do.
    static std::vector<One> now() {
        const std::lock_guard guard(mutex());
        std::erase_if(all(), [](const One& one) { return ::waitpid(one.process, nullptr, WNOHANG) != 0; });
        return all();
    }

  private:
    static std::mutex& mutex() {
        static std::mutex only;
        return only;
    }
    // Never destroyed: threads may still ask while the process ends.
    static std::vector<One>& all() {
        static std::vector<One>& children = *new std::vector<One>;
        return children;
    }
};

/// One round of questions, at least one, about mounts of different paths.
class Round {
  public:
    explicit Round(std::span<const Mount* const> questions)
        : questions_(questions), board_(questions.size()), done_(::eventfd(0, EFD_CLOEXEC)) {}

    /// False, and logged, when no child can be started.
    bool run(std::size_t most_children) {
        const auto deadline = Clock::now() + kLongest;
        if (board_ && ask_root() && complete()) return true;
        if (most_children == 0) errno = EAGAIN;
        if (most_children == 0 || !board_ || !done_ || !start()) {
            ZEL_TRACE(TRACE_LEVEL_RESOURCE, "No mount is asked, for want of a process: %s.",
                      std::strerror(errno));
            return false;
        }
        auto patience_ends = Clock::now() + kPatience;
        while (!complete() && Clock::now() < deadline) {
            const std::size_t next = board_->next;
            wait_until(std::min(patience_ends, deadline));
            if (board_->next == next && Clock::now() < patience_ends) continue;
            patience_ends = Clock::now() + kPatience;
            if (board_->next == next && next < questions_.size() && children_.size() < most_children) start();
        }
        board_->over = true;
        for (std::size_t child = 0; child < children_.size(); ++child)
            leave(child);
        return true;
    }

    [[nodiscard]] std::span<const Answer> answers() const { return board_.answers(); }

  private:
    /// The root is asked without a child, where it comes first: who cannot reach it cannot go on anyway.
    bool ask_root() {
        if (questions_.front()->path != "/") return false;
        ask("/", board_.answers().front());
        board_->next = 1;
        board_->given = 1;
        return true;
    }

    [[nodiscard]] bool complete() const { return board_->given == questions_.size(); }

    bool start() {
        const std::size_t number = children_.size();
        board_->asking.at(number) = kNothingYet;
        sigset_t all;
        sigset_t before;
        sigfillset(&all);  // what is meant for the program must not run its handlers in the child
        pthread_sigmask(SIG_SETMASK, &all, &before);
        const pid_t parent = ::getpid();
        const pid_t child = ::fork();
        if (child == 0) work(number, parent);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        if (child > 0) children_.push_back(child);
        return child > 0;
    }

    /// A child's life. The program may have threads: nothing here may allocate or lock.
    [[noreturn]] void work(std::size_t number, pid_t parent) {
        if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::getppid() != parent) ::_exit(1);
        ::dup2(done_.get(), STDIN_FILENO);
        ::close_range(STDOUT_FILENO, ~0U, 0);  // neither locks nor the terminal
        while (!board_->over) {
            const std::size_t question = board_->next++;
            if (question >= questions_.size()) break;
            board_->asking[number] = question;
            ask(questions_[question]->path.c_str(), board_.answers()[question]);
            ++board_->given;
        }
        constexpr std::uint64_t kOnce = 1;
        board_->asking[number] = kNothingMore;
        const auto told = ::write(STDIN_FILENO, &kOnce, sizeof kOnce);
        ::_exit(told > 0 ? 0 : 1);
    }

    /// Until the time comes or a child has no more to ask.
    void wait_until(Clock::time_point time) const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
        pollfd done{.fd = done_.get(), .events = POLLIN, .revents = 0};
        std::uint64_t times = 0;
        if (::poll(&done, 1, static_cast<int>(std::max<std::int64_t>(left, 0))) <= 0) return;
        if (::read(done_.get(), &times, sizeof times) < 0) return;
    }

    void leave(std::size_t child) const {
        const pid_t process = children_[child];
        const std::size_t question = board_->asking.at(child);
        if (complete() || question == kNothingMore) {  // it ends, and can be waited for
            while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
            }
            return;
        }
        // A question that was answered this very moment is not what it may hang in.
        const bool asked = question < questions_.size() && !board_.answers()[question].given;
        Hanging::add({process, asked ? std::optional(questions_[question]->device) : std::nullopt});
    }

    std::span<const Mount* const> questions_;
    SharedBoard board_;
    base::UniqueFd done_;
    std::vector<pid_t> children_;
};

void tell_left_out(const Mount& mount, const char* why) {
    ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s is left out: %s.", mount.path.c_str(), why);
}

}  // namespace

std::vector<Mount> ask_mounts(const std::vector<Mount>& mounts) {
    constexpr const char* kSilent = "it does not answer";
    const auto hanging = Hanging::now();
    std::vector<const Mount*> questions;
    for (const Mount& mount : mounts) {
        if (std::ranges::find(hanging, mount.device, &Hanging::One::device) == hanging.end())
            questions.push_back(&mount);
        else
            tell_left_out(mount, kSilent);
    }
    std::vector<Mount> answered;
    Round round(questions);
    if (questions.empty() || !round.run(kMostChildren - std::min(kMostChildren, hanging.size())))
        return answered;
    answered.reserve(questions.size());
    for (std::size_t i = 0; i < questions.size(); ++i) {
        const Answer& answer = round.answers()[i];
        if (!answer.given || answer.error != 0) {
            tell_left_out(*questions[i], answer.given ? std::strerror(answer.error) : kSilent);
        } else if (answer.folder) {
            Mount& mount = answered.emplace_back(*questions[i]);
            if (answer.blocks > 0) mount.space = Space{answer.used, answer.available};
            if (answer.blocks > 0) mount.hundredth = ((answer.blocks * answer.block_size) >> 20U) / 100;
        }
    }
    return answered;
}

}  // namespace zel::system
