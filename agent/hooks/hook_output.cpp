// SPDX-License-Identifier: GPL-3.0-or-later
#include "hook_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "say.h"

namespace zel::hooks {
namespace {

constexpr std::size_t kLongestLine = 500;
constexpr std::size_t kMostLines = 40;

}  // namespace

base::UniqueFd HookOutput::open() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return {};
    pipe_ = base::UniqueFd(ends[0]);
    base::UniqueFd writable(ends[1]);
    return fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0 ? std::move(writable) : base::UniqueFd();
}

void HookOutput::read() {
    constexpr int kAtOnce = 16;  // a hook that never stops writing still has its time looked at
    std::array<char, 4096> bytes{};
    for (int i = 0; i < kAtOnce && pipe_; ++i) {
        const ssize_t got = ::read(pipe_.get(), bytes.data(), bytes.size());
        if (got < 0) return;
        if (got == 0) pipe_.reset();
        for (ssize_t at = 0; at < got; ++at)
            take(bytes.at(static_cast<std::size_t>(at)));
    }
}

void HookOutput::finish() {
    read();
    if (!line_.empty()) take('\n');
}

void HookOutput::take(char one) {
    if (lines_ > kMostLines) return;
    if (one != '\n') line_ += one;
    if (one != '\n' && line_.size() < kLongestLine) return;
    say(name_ + ": " + (++lines_ > kMostLines ? "more output is left out" : line_));
    line_.clear();
}

}  // namespace zel::hooks
