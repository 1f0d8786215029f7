// SPDX-License-Identifier: GPL-3.0-or-later
#include "journal.h"

#include <sys/uio.h>
#include <unistd.h>

#include <mutex>

#define SD_JOURNAL_SUPPRESS_LOCATION 1  // where we stand in our sources tells administrators nothing
#include <systemd/sd-journal.h>

#include "store/late_library.h"

namespace zel::system {
namespace {

#define ZEL_JOURNAL_ENTRY_POINTS(X) X(sd_journal_sendv)
struct Journal {
    static constexpr const char* kLibrary = "libsystemd.so.0";
    ZEL_LATE_TABLE(ZEL_JOURNAL_ENTRY_POINTS)
};

}  // namespace

void JournalEntry::add(std::string_view field, std::string_view value) {
    std::string text(field);
    text.append("=").append(value);
    fields_.push_back(std::move(text));
}

bool JournalEntry::send() const {
    // libsystemd keeps its socket where two threads would open it at once.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    constexpr const char* kSocket = "/run/systemd/journal/socket";
    if (::access(kSocket, W_OK) != 0) return false;  // the library would call that a success
    const auto* journal = store::late_table<Journal>();
    std::vector<iovec> parts;
    parts.reserve(fields_.size());
    for (const std::string& field : fields_)
        parts.push_back({const_cast<char*>(field.data()), field.size()});  // read only
    return journal && journal->sd_journal_sendv(parts.data(), static_cast<int>(parts.size())) == 0;
}

}  // namespace zel::system
