// SPDX-License-Identifier: GPL-3.0-or-later
#include "position.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>

#include "base/own_folder.h"
#include "base/paths.h"
#include "say.h"
#include "scripts.h"

namespace zel::hooks {
namespace {

/// "42 20-mail running", blanks, a line feed. Less than a disk's sector, which is written whole or not at all.
constexpr std::size_t kSize = 256;
constexpr std::string_view kNone = "/";  // no hook's name

std::string place() {
    return base::is_private_agent() ? base::settings_folder() + "/hooks.position"
                                    : "/var/lib/zelagent-hooks/position";
}

std::string_view take_word(std::string_view& text) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    return word;
}

std::optional<Position> parse(std::string_view text) {
    if (text.size() != kSize || text.back() != '\n') return std::nullopt;
    const std::string_view number = take_word(text);
    const std::string_view hook = take_word(text);
    const std::string_view state = take_word(text);
    Position position{.seq = 0, .hook = std::string(hook), .running = state == "running"};
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), position.seq);
    const bool whole = error == std::errc{} && end == number.data() + number.size();
    if (!whole || (!position.running && state != "done") || (hook != kNone && !is_hook_name(hook)))
        return std::nullopt;
    if (hook == kNone) position.hook.clear();
    return position;
}

}  // namespace

bool PositionFile::open() {
    // The child of one that was killed holds the lock for a moment longer.
    constexpr std::chrono::seconds kPatience{1};
    path_ = place();
    const auto folder = base::OwnFolder::make(base::parent_folder(path_));
    if (folder) file_ = folder.open_file(base::last_name(path_), O_RDWR | O_CREAT, 0600);
    if (file_ && base::lock_file(file_.get(), LOCK_EX, kPatience)) return true;
    say(file_ && errno == ETIMEDOUT ? "ZELhooks is already running" : path_ + ": " + std::strerror(errno));
    return false;
}

std::optional<Position> PositionFile::read() const {
    std::string text;
    if (lseek(file_.get(), 0, SEEK_SET) != 0 || !base::read_at_most(file_.get(), kSize, text)) text.clear();
    auto position = parse(text);
    if (!position && !text.empty()) say(path_ + " is damaged; beginning again");
    return position;
}

void PositionFile::write(const Position& position) {
    std::string text = std::to_string(position.seq) + ' ';
    text.append(position.hook.empty() ? kNone : position.hook)
        .append(position.running ? " running" : " done");
    text.append(1, ' ').resize(kSize - 1, ' ');
    text += '\n';
    const auto written = pwrite(file_.get(), text.data(), text.size(), 0);
    const bool kept = written == static_cast<ssize_t>(kSize) && fdatasync(file_.get()) == 0;
    if (!kept && !failed_)
        say(path_ + ": " + std::strerror(errno) + "; a restart would run hooks a second time");
    failed_ = !kept;
}

}  // namespace zel::hooks
