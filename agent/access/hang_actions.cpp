// SPDX-License-Identifier: GPL-3.0-or-later
// Shutdown and watchdog settings. ZELwdserver arms the timer, not these calls: it sees each change of the file.
#include <cstring>

#include "client/service_client.h"
#include "handed_out.h"
#include "settings/registry_values.h"
#include "zel/access_control.h"

namespace {

namespace settings = zel::settings;
namespace client = zel::client;

using zel::access::handed_out;

constexpr int kSaved = 0;
constexpr int kNotSaved = 1;

/// Copies the fields that the library knows, and only those: what follows them is the caller's.
template <class Table>
int hand_out(const Table& table, typename Table::Record* record) {
    const auto settings = settings::read_record(table);
    if (!settings || !record) return 0;
    for (const auto& field : table.fields)
        record->*field.member = (*settings).*field.member;
    handed_out<typename Table::Record>().keep(*settings);
    return 1;
}

/// Saves the settings and has the service take them up.
template <class Table>
int save(const Table& table, const typename Table::Record* record, const char* request) {
    auto& known = handed_out<typename Table::Record>();
    if (!record || !settings::write_switched_record(
                       table, *record, {.before = known.last(), .also = settings::count_generation}))
        return kNotSaved;
    known.saved(*record);
    client::notify(request);  // a missing service reads the settings when it starts
    return kSaved;
}

}  // namespace

extern "C" int GetAllofShutDown(ShutdownRecord* record) try {
    return hand_out(settings::kShutdown, record);
} catch (...) {
    return 0;
}

extern "C" int SetAllofShutDown(ShutdownRecord* record) try {
    return save(settings::kShutdown, record, "reset shutdown");
} catch (...) {
    return kNotSaved;
}

extern "C" int GetAllofWDT(WdtRecord* record) try {
    if (!hand_out(settings::kWatchdog, record)) return 0;
    record->library = settings::read_number(settings::kWatchdog.key, settings::kGeneration);
    return 1;
} catch (...) {
    return 0;
}

extern "C" int SetAllofWDT(WdtRecord* record) try {
    return save(settings::kWatchdog, record, "reset watchdog");
} catch (...) {
    return kNotSaved;
}

extern "C" int GetTimeoutAct(int* when, int* after, uint64_t code) {
    if (!when || !after || !settings::kShutdown.fields.back().value.allows(code)) return 0;
    *when = (code & settings::kInterruptBefore) != 0 ? 1 : 0;
    *after = static_cast<int>(code & settings::kAfterMask);
    return 1;
}

extern "C" int SetTimeoutAct(int when, int after, void* code) {
    if (!code || when < 0 || when > 1 || after < 0 || after > static_cast<int>(settings::kAfterMask))
        return 0;
    const std::uint32_t made =
        (when == 1 ? settings::kInterruptBefore : 0) | static_cast<std::uint32_t>(after);
    std::memcpy(code, &made, sizeof made);
    return 1;
}
