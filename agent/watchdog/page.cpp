// SPDX-License-Identifier: GPL-3.0-or-later
#include "page.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <limits>
#include <utility>

#include "base/own_folder.h"
#include "base/paths.h"
#include "settings/registry_values.h"
#include "store/key_file.h"

namespace zel::watchdog {
namespace {

constexpr std::array kStates{"off", "armed", "refused", "lost"};
constexpr std::array kHolds{"none", "arming", "armed", "stopped", "taken"};
constexpr const char* kTimer = "timer";
constexpr const char* kTold = "told";

std::string path() {
    return base::watchdog_folder() + "/watchdog.state";
}

template <class Names>
std::size_t index_of(const Names& names, const std::string& word) {
    const auto* const found = std::ranges::find(names, word);
    return found != names.end() ? static_cast<std::size_t>(found - names.begin()) : 0;
}

std::uint32_t number_in(const store::KeyFile& file, const char* group, const char* key) {
    const auto number = file.get_int(group, key);
    const bool fits = number && *number >= 0 && *number <= std::numeric_limits<std::uint32_t>::max();
    return fits ? static_cast<std::uint32_t>(*number) : 0;
}

Page page_of(const store::KeyFile& file) {
    const auto text = [&](const char* key) { return file.get(kTimer, key).value_or(""); };
    Page page{.state = static_cast<State>(index_of(kStates, text("state"))), .detail = text("detail")};
    page.hold = static_cast<Hold>(index_of(kHolds, text("hold")));
    const auto timer = bmc::timer_setting_of(text("setting"));
    page.timer = timer.value_or(bmc::TimerSetting());
    if (!timer) page.hold = Hold::none;
    page.former = bmc::timer_setting_of(text("former"));
    page.generation = number_in(file, kTimer, "generation");
    page.boot = text("boot");
    page.told_last = number_in(file, kTold, "last");
    for (std::size_t i = 0; i < std::min<std::size_t>(kMostTold, page.told_last); ++i) {
        auto line = file.get(kTold, std::to_string(page.told_last - i));
        if (!line) break;
        page.told.insert(page.told.begin(), *std::move(line));
    }
    return page;
}

bool put_page(store::KeyFile& file, const Page& page) {
    file = store::KeyFile();
    bool fits = file.set(kTimer, "state", state_name(page.state)) &&
                file.set(kTimer, "detail", page.detail) &&
                file.set(kTimer, "hold", kHolds.at(static_cast<std::size_t>(page.hold))) &&
                file.set(kTimer, "setting", bmc::to_text(page.timer)) &&
                file.set_int(kTimer, "generation", page.generation) && file.set(kTimer, "boot", page.boot) &&
                file.set_int(kTold, "last", page.told_last);
    if (page.former) fits = fits && file.set(kTimer, "former", bmc::to_text(*page.former));
    const std::size_t count = std::min(page.told.size(), kMostTold);
    for (std::size_t i = 0; i < count; ++i)
        fits =
            fits && file.set(kTold, std::to_string(page.told_last - i), page.told[page.told.size() - 1 - i]);
    return fits;
}

/// The feeder's lock file; none where no feeder holds the lock.
base::UniqueFd held_lock() {
    auto file = base::open_own(feeder_lock());
    const bool held = file && ::flock(file.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    return held ? std::move(file) : base::UniqueFd();
}

}  // namespace

const char* state_name(State state) {
    return kStates.at(static_cast<std::size_t>(state));
}

Page read_page() {
    store::KeyFile file;
    Page empty{.boot = base::boot_id()};
    if (store::read_key_file(path(), file) != store::Status::ok) return empty;
    Page page = page_of(file);
    // An installed one ends with the machine by itself. (In a container, a process in a sandbox may see another number.)
    return page.boot == empty.boot || !base::is_private_agent() ? page : empty;
}

bool write_page(const Page& page) {
    store::KeyFile file;
    return put_page(file, page) && store::replace_file(path(), file.serialise());
}

std::string feeder_lock() {
    return base::watchdog_folder() + "/zelwdserver.lock";
}

bool wake_feeder() {
    const auto lock = held_lock();
    std::string text;
    if (!lock || !base::read_at_most(lock.get(), 32, text)) return false;
    const auto id = store::parse_int(text.substr(0, text.find('\n')));
    if (!id || *id < 2 || *id > std::numeric_limits<pid_t>::max()) return false;
    const base::UniqueFd process(static_cast<int>(::syscall(SYS_pidfd_open, static_cast<pid_t>(*id), 0)));
    // Opened first: the number may be another program's by now, and then its name is another.
    const auto name = base::open_file("/proc/" + std::to_string(*id) + "/comm", O_RDONLY);
    text.clear();
    return process && name && base::read_at_most(name.get(), 32, text) && text == "ZELwdserver\n" &&
           ::syscall(SYS_pidfd_send_signal, process.get(), SIGHUP, nullptr, 0) == 0;
}

bool holds(const Page& page) {
    return page.hold == Hold::arming || page.hold == Hold::armed;
}

bool is_held(const Page& page, const bmc::TimerSetting& setting) {
    return holds(page) && (setting == page.timer || setting == page.former);
}

std::string in_use(const bmc::TimerSetting& setting) {
    return std::string("in use by another program (") + bmc::use_name(setting.use) + ", " + told(setting) +
           ')';
}

Known what_is_known() {
    Known known{.state = State::off, .detail = {}, .left_alone = false, .page = read_page()};
    known.state = known.page.state;
    known.detail = known.page.detail;
    if (held_lock()) return known;
    constexpr const char* kNoFeeder = "ZELwdserver does not run";
    const auto settings = settings::read_record(settings::kWatchdog);
    known.left_alone = holds(known.page);
    if (known.left_alone) {
        known.state = State::lost;
        known.detail =
            std::string(kNoFeeder) + ", and nobody feeds the timer that it armed: " + told(known.page.timer);
    } else if (settings && settings->qwHangEnable != 0) {
        known.state = State::refused;
        known.detail = kNoFeeder;
    } else {
        known.state = State::off;
        known.detail.clear();
    }
    return known;
}

}  // namespace zel::watchdog
