// SPDX-License-Identifier: GPL-3.0-or-later
#include "dispatcher.h"

#include <algorithm>
#include <string>
#include <utility>

#include "base/paths.h"
#include "hook_run.h"
#include "say.h"
#include "scripts.h"
#include "store/agent_config.h"

namespace zel::hooks {
namespace {

std::chrono::seconds longest_run() {
    constexpr std::int64_t kMost = 300;
    constexpr std::int64_t kDefault = 30;
    static bool told = false;
    store::ConfigGroup group("hooks");
    const std::int64_t seconds = group.number("timeout", 1, kMost, kDefault);
    if (!group.valid() && !std::exchange(told, true))
        say(base::config_file() + ": no valid timeout of [hooks] is to be had; it is " +
            std::to_string(seconds) + " s");
    return std::chrono::seconds(seconds);
}

}  // namespace

bool Dispatcher::open() {
    if (!file_.open()) return false;
    position_ = file_.read();
    if (position_ && position_->running)
        say(position_->hook + ", event " + std::to_string(position_->seq) + ": interrupted, not run again");
    return true;
}

bool Dispatcher::take(const EventLine& event, bool begins) {
    newest_ = std::max(newest_, event.seq);
    if (!position_) return true;
    if (begins && event.seq <= position_->seq) {
        say("the log begins again, with event " + std::to_string(event.seq));
        go_on_behind(event.seq - 1);
    }
    const bool half_done = event.seq == position_->seq && !position_->hook.empty();
    if (event.seq <= position_->seq && !half_done) return true;
    if (position_->seq > 0 && event.seq > position_->seq + 1)
        say("the log no longer has the events " + std::to_string(position_->seq + 1) + " to " +
            std::to_string(event.seq - 1));
    return run_hooks(event, half_done ? position_->hook : std::string());
}

void Dispatcher::caught_up() {
    if (std::exchange(caught_up_, true)) return;
    if (!position_) {
        say("beginning behind event " + std::to_string(newest_));
        go_on_behind(newest_);
    } else if (newest_ > 0 && newest_ < position_->seq) {
        say("the log begins again; going on behind its event " + std::to_string(newest_));
        go_on_behind(newest_);
    }
}

bool Dispatcher::run_hooks(const EventLine& event, const std::string& after) {
    for (const std::string& name : hook_names()) {
        if (name <= after) continue;
        const base::UniqueFd program = open_hook(name);
        if (!program) continue;
        position_ = Position{.seq = event.seq, .hook = name, .running = true};
        file_.write(*position_);
        stuck_ = !run_hook(name, program.get(), event, longest_run());
        position_->running = false;
        if (!stuck_ && !is_stopping_()) continue;
        file_.write(*position_);
        return false;
    }
    go_on_behind(event.seq);
    return true;
}

void Dispatcher::go_on_behind(std::uint64_t seq) {
    position_ = Position{.seq = seq, .hook = {}, .running = false};
    file_.write(*position_);
}

}  // namespace zel::hooks
