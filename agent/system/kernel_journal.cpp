// SPDX-License-Identifier: GPL-3.0-or-later
#include "kernel_journal.h"

#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "attribute.h"
#include "store/agent_config.h"
#include "store/late_library.h"
#include "zel/trace.h"

namespace zel::system {
namespace {

constexpr const char* kModule = "kernel_journal";
constexpr std::size_t kLongestLine = 1024;
constexpr std::size_t kMostLines = 20'000;
/// The position in a journal that was empty: whatever comes is new.
constexpr const char* kBeginning = "beginning";

#define ZEL_JOURNAL_READING(X)       \
    X(sd_journal_open)               \
    X(sd_journal_open_directory)     \
    X(sd_journal_close)              \
    X(sd_journal_add_match)          \
    X(sd_journal_seek_cursor)        \
    X(sd_journal_seek_head)          \
    X(sd_journal_seek_tail)          \
    X(sd_journal_next)               \
    X(sd_journal_previous)           \
    X(sd_journal_get_cursor)         \
    X(sd_journal_test_cursor)        \
    X(sd_journal_get_data)           \
    X(sd_journal_set_data_threshold) \
    X(sd_journal_has_runtime_files)  \
    X(sd_journal_has_persistent_files)
struct Calls {
    static constexpr const char* kLibrary = "libsystemd.so.0";
    ZEL_LATE_TABLE(ZEL_JOURNAL_READING)
};

class Journal {
  public:
    Journal(const Calls& calls, const std::string& folder)
        : calls_(calls), journal_(nullptr, calls.sd_journal_close) {
        sd_journal* opened = nullptr;
        error_ = folder.empty() ? calls.sd_journal_open(&opened, SD_JOURNAL_LOCAL_ONLY | SD_JOURNAL_SYSTEM)
                                : calls.sd_journal_open_directory(&opened, folder.c_str(), 0);
        if (error_ >= 0) journal_.reset(opened);
        // Opening succeeds where no file may be read.
        if (error_ >= 0 && calls.sd_journal_has_runtime_files(opened) <= 0 &&
            calls.sd_journal_has_persistent_files(opened) <= 0)
            error_ = folder.empty() ? -EACCES : 0;
    }

    [[nodiscard]] int error() const { return error_; }

    /// Stands before the first line that is new. False when there is none yet: the position is the end then.
    bool find(JournalPosition& position) {
        calls_.sd_journal_set_data_threshold(journal_.get(), kLongestLine);
        if (position.empty()) {
            position = end();
            return false;
        }
        // Facility 0 is the kernel's own: it lets nobody else write that into its buffer.
        for (const char* match : {"_TRANSPORT=kernel", "SYSLOG_FACILITY=0"})
            if (calls_.sd_journal_add_match(journal_.get(), match, 0) < 0) return false;
        const int found = position == kBeginning
                              ? calls_.sd_journal_seek_head(journal_.get())
                              : calls_.sd_journal_seek_cursor(journal_.get(), position.c_str());
        if (found < 0) {  // it was no cursor: the file that kept it was damaged
            position = end();
            return false;
        }
        return true;
    }

    /// Goes on to the next line.
    [[nodiscard]] bool next() { return calls_.sd_journal_next(journal_.get()) > 0; }

    [[nodiscard]] bool is_at(const JournalPosition& position) const {
        return position != kBeginning && calls_.sd_journal_test_cursor(journal_.get(), position.c_str()) > 0;
    }

    [[nodiscard]] JournalPosition at() const {
        char* cursor = nullptr;
        if (calls_.sd_journal_get_cursor(journal_.get(), &cursor) < 0) return {};
        const std::unique_ptr<char, decltype(&std::free)> owner(cursor, std::free);
        return cursor;
    }

    /// Valid until the next call.
    [[nodiscard]] std::string_view line() const {
        constexpr std::string_view kField = "MESSAGE=";
        const void* data = nullptr;
        std::size_t size = 0;
        if (calls_.sd_journal_get_data(journal_.get(), "MESSAGE", &data, &size) < 0 || size < kField.size())
            return {};
        const std::string_view text(static_cast<const char*>(data), size);
        return text.substr(kField.size(), kLongestLine);
    }

  private:
    JournalPosition end() {
        const bool any = calls_.sd_journal_seek_tail(journal_.get()) >= 0 &&
                         calls_.sd_journal_previous(journal_.get()) > 0;
        return any ? at() : kBeginning;
    }

    const Calls& calls_;
    std::unique_ptr<sd_journal, decltype(&::sd_journal_close)> journal_;
    int error_ = 0;
};

bool is_there(const std::string& folder) {
    const auto exists = [](const std::string& path) { return ::access(path.c_str(), F_OK) == 0; };
    if (!folder.empty()) return exists(folder);
    const std::string machine = attribute("/etc/machine-id").value_or("");
    return !machine.empty() &&
           (exists("/run/log/journal/" + machine) || exists("/var/log/journal/" + machine));
}

}  // namespace

JournalState read_kernel_lines(
    JournalPosition& position,
    const std::function<void(std::string_view line, const JournalPosition& at)>& take) {
    const std::string folder = store::configured("monitor", "journal", "");
    if (!is_there(folder)) return JournalState::none;
    const auto* calls = store::late_table<Calls>();
    if (!calls) return JournalState::unreadable;
    Journal journal(*calls, folder);
    if (journal.error() < 0) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "The journal cannot be read: %s.", std::strerror(-journal.error()));
        return JournalState::unreadable;
    }
    if (!journal.find(position)) return JournalState::read;
    for (std::size_t lines = 0; lines < kMostLines && journal.next();) {
        if (journal.is_at(position)) continue;
        ++lines;
        position = journal.at();
        take(journal.line(), position);
    }
    return JournalState::read;
}

}  // namespace zel::system
