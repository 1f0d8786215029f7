// SPDX-License-Identifier: GPL-3.0-or-later
#include "mount_library.h"

#include "store/late_library.h"

namespace zel::system {
namespace {

bool load(MountLibrary& table) {
    const store::LateLibrary library("libmount.so.1");
#define ZEL_BIND(name) &&library.bind(#name, table.name)
    return library.loaded() ZEL_MOUNT_ENTRY_POINTS(ZEL_BIND);
#undef ZEL_BIND
}

}  // namespace

const MountLibrary* mount_library() {
    static MountLibrary table;
    static const bool loaded = load(table);
    return loaded ? &table : nullptr;
}

}  // namespace zel::system
