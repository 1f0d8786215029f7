// SPDX-License-Identifier: GPL-3.0-or-later
// libzelsmbios.so: the entries that load_libzelsmbios binds. One set of tables per process; callers on
// several threads take turns.
#include "zel/smbios.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <mutex>
#include <optional>

#include "system/smbios_tables.h"

namespace {

std::mutex guard;
std::optional<zel::system::Tables> tables;

int count_structures(SmbiosCountRequest& request) {
    constexpr std::size_t kMost = std::numeric_limits<std::uint16_t>::max();
    request.number = static_cast<std::uint16_t>(std::min(tables->count(request.type), kMost));
    return 0;
}

int describe_structure(SmbiosStructRequest& request) {
    if (request.type != zel::system::kChassis) return -1;
    const auto chassis = tables->find(request.type, request.number);
    if (!chassis) return -1;
    std::memcpy(request.code, zel::system::is_blade(*chassis) ? "FE" : "00", sizeof request.code);
    return 0;
}

}  // namespace

extern "C" int zelsmbios_initialise(void) try {
    auto found = zel::system::Tables::read(zel::system::tables_folder());
    const std::lock_guard lock(guard);
    tables = std::move(found);
    return tables ? 0 : -1;
} catch (...) {
    return -1;
}

extern "C" void zelsmbios_close(void) try {
    const std::lock_guard lock(guard);
    tables.reset();
} catch (...) {  // a mutex that cannot be locked leaves nothing to close
}

extern "C" int zelsmbios_request(uint32_t code, void* record) try {
    const std::lock_guard lock(guard);
    if (!tables || !record) return -1;
    switch (code) {
        case GET_STRUCTURE_NUMBER:
            return count_structures(*static_cast<SmbiosCountRequest*>(record));
        case GET_STRUCTURE_TYPE_AND_OFFSET:
            return describe_structure(*static_cast<SmbiosStructRequest*>(record));
        default:
            return -1;
    }
} catch (...) {
    return -1;
}
