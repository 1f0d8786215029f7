// SPDX-License-Identifier: GPL-3.0-or-later
#include "event_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/event_file.h"
#include "base/own_folder.h"

namespace zel::tell {
namespace {

constexpr std::size_t kMostWaiting = 1000;
constexpr std::size_t kMostRead = 4 * kLargestEventLog;

/// The events of a log's text up to its last whole line; nothing when something else stands among them.
std::optional<std::vector<Event>> parse(std::string_view text) {
    std::vector<Event> events;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        auto event = from_line(text.substr(0, end));
        if (!event || (!events.empty() && event->seq <= events.back().seq)) return std::nullopt;
        events.push_back(*std::move(event));
        text.remove_prefix(end + 1);
    }
    return events;
}

std::string_view whole_lines(std::string_view text) {
    return text.substr(0, text.rfind('\n') + 1);
}

std::string read(const base::UniqueFd& file) {
    std::string text;
    if (file && !base::read_at_most(file.get(), kMostRead, text)) text.clear();
    return text;
}

}  // namespace

EventLog::EventLog(std::string folder, std::function<void(const std::string&)> say)
    : folder_(std::move(folder)), say_(std::move(say)) {}

std::vector<Event> EventLog::open(std::uint64_t seq) {
    std::vector<Event> events;
    read_older(events);
    if (open_file()) {
        const std::string text = read(file_);
        const std::string_view lines = whole_lines(text);
        if (const auto newer = parse(lines)) {
            end_ = lines.size();
            if (end_ != text.size() && ::ftruncate(file_.get(), static_cast<off_t>(end_)) != 0) file_.reset();
            events.insert(events.end(), newer->begin(), newer->end());
        } else {
            const auto folder = base::OwnFolder::open(folder_);
            const auto aside = folder ? folder.keep_aside(base::kEventLogName) : std::nullopt;
            say_(std::string(base::kEventLogName) + " holds something else than events" +
                 (aside ? "; it is kept as " + *aside : ", and cannot be renamed"));
            if (aside) folder.remove(base::kEventLogName);
            if (!aside || !open_file()) file_.reset();
        }
    }
    last_ = std::max(seq, events.empty() ? 0 : events.back().seq);
    std::erase_if(events, [&](const Event& event) { return event.seq <= seq; });
    return events;
}

void EventLog::read_older(std::vector<Event>& events) const {
    const auto folder = base::OwnFolder::open(folder_);
    if (!folder) return;
    const std::string text = read(folder.open_file(base::kOlderEventLogName, O_RDONLY));
    if (auto older = parse(whole_lines(text))) events = *std::move(older);
}

/// Opens the log at its end, or makes one that the hooks can read where the folder lets them.
bool EventLog::open_file() {
    const auto folder = base::OwnFolder::make(folder_);
    file_ = folder ? folder.open_file(base::kEventLogName, O_RDWR | O_CREAT, 0640) : base::UniqueFd();
    if (!file_) return false;
    const off_t size = ::lseek(file_.get(), 0, SEEK_END);
    end_ = size > 0 ? static_cast<std::size_t>(size) : 0;
    ::lseek(file_.get(), 0, SEEK_SET);
    ::fallocate(file_.get(), FALLOC_FL_KEEP_SIZE, 0, kLargestEventLog);  // where it can be
    return true;
}

void EventLog::add(Event& event) {
    event.seq = ++last_;
    waiting_.push_back(to_line(event) + '\n');
    if (waiting_.size() > kMostWaiting) {
        waiting_.pop_front();
        ++lost_;
    }
    flush();
}

void EventLog::flush() {
    const std::size_t before = waiting_.size();
    while (!waiting_.empty() && append(waiting_.front()))
        waiting_.pop_front();
    const int error = errno;
    if (before == 1 && waiting_.size() == 1)
        say_(folder_ + '/' + base::kEventLogName + ": " + std::strerror(error) +
             "; events wait to be written");
    if (!waiting_.empty() || before <= 1) return;
    say_(std::to_string(before) + " events are written that had to wait, " + std::to_string(lost_) +
         " are lost");
    lost_ = 0;
}

/// A line stands whole in the log, or not at all.
bool EventLog::append(const std::string& line) {
    const auto folder = base::OwnFolder::open(folder_);
    if ((!file_ || !folder || !folder.still_holds(base::kEventLogName, file_.get())) && !open_file())
        return false;
    if (end_ + line.size() > kLargestEventLog && !rotate()) return false;
    const ssize_t written = ::pwrite(file_.get(), line.data(), line.size(), static_cast<off_t>(end_));
    if (written == static_cast<ssize_t>(line.size()) && ::fdatasync(file_.get()) == 0) {
        end_ += line.size();
        return true;
    }
    const base::ErrnoKeeper keep;
    if (written >= 0 && ::ftruncate(file_.get(), static_cast<off_t>(end_)) != 0) file_.reset();
    return false;
}

/// The older file gives its room to the new one.
bool EventLog::rotate() {
    const auto folder = base::OwnFolder::open(folder_);
    if (!folder) return false;
    folder.remove(base::kOlderEventLogName);
    return folder.rename(base::kEventLogName, base::kOlderEventLogName) && open_file();
}

}  // namespace zel::tell
