// SPDX-License-Identifier: GPL-3.0-or-later
#include "grub_entry.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <vector>

#include "base/file_io.h"
#include "base/trusted_folder.h"
#include "store/agent_config.h"
#include "zel/trace.h"

namespace zel::system {
namespace {

constexpr const char* kModule = "grub_entry";
constexpr std::string_view kVariable = "next_entry=";
constexpr std::string_view kSignature = "# GRUB Environment Block\n";
constexpr std::size_t kLargestBlock = std::size_t{64} << 10;  // GRUB's own is 1 KiB
constexpr int kPatience = 10'000;                             // milliseconds

using Words = std::vector<std::string>;

std::string block_path() {
    return store::configured("maintenance", "grubenv", "/boot/grub/grubenv");
}

/// The block, which a line feed ends every line of; nothing with errno set when it cannot be read.
std::optional<std::string> read_block(const std::string& path) {
    const base::UniqueFd file = base::open_regular(path);
    if (!file) return std::nullopt;
    std::string block;
    return base::read_at_most(file.get(), kLargestBlock, block) ? std::optional(std::move(block))
                                                                : std::nullopt;
}

/// Takes one line off the block; in it, a backslash keeps the character after it, a line feed too.
std::string take_line(std::string_view& block) {
    std::string line;
    std::size_t at = 0;
    for (; at < block.size() && block[at] != '\n'; ++at) {
        if (block[at] == '\\' && at + 1 < block.size()) ++at;
        line += block[at];
    }
    block.remove_prefix(at < block.size() ? at + 1 : at);
    return line;
}

/// Waits for a process to end, and ends it when it takes too long. True when it ended with 0.
bool finish(pid_t child) {
    const base::UniqueFd handle(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    pollfd ended{.fd = handle.get(), .events = POLLIN, .revents = 0};
    int ready = 0;
    do {
        ready = handle ? ::poll(&ended, 1, kPatience) : 1;
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Runs a program without a shell, its output discarded: the terminal shows somebody's panel.
bool run(Words words) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    std::string path = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    std::array<char*, 2> environment{path.data(), nullptr};

    posix_spawn_file_actions_t actions;
    if (::posix_spawn_file_actions_init(&actions) != 0) return false;
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    }
    pid_t child = 0;
    const int error =
        ::posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environment.data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s cannot be run: %s.", arguments[0], std::strerror(error));
        return false;
    }
    return finish(child);
}

}  // namespace

std::optional<std::string> next_grub_entry() {
    const std::string path = block_path();
    const auto block = read_block(path);
    if (!block && errno == ENOENT) return std::string();
    if (!block || !block->starts_with(kSignature)) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s: %s.", path.c_str(),
                  block ? "no environment block" : base::why_not_opened());
        return std::nullopt;
    }
    std::string entry;
    for (std::string_view rest = *block; !rest.empty();) {
        const std::string line = take_line(rest);
        if (line.starts_with(kVariable)) entry = line.substr(kVariable.size());
    }
    return entry;
}

bool set_next_grub_entry(const std::string& entry) {
    std::string fault;
    const auto program =
        base::trusted_path(store::configured("maintenance", "grub_editenv", "/usr/bin/grub-editenv"), fault);
    if (!program) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "The program grub_editenv is not run: %s.", fault.c_str());
    } else if (!run(entry.empty() ? Words{*program, block_path(), "unset", "next_entry"}
                                  : Words{*program, block_path(), "set", std::string(kVariable) + entry})) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s failed.", program->c_str());
    }
    if (next_grub_entry() == entry) return true;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "The next entry is not the wanted one.");
    return false;
}

}  // namespace zel::system
