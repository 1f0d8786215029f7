// SPDX-License-Identifier: GPL-3.0-or-later
// libmount, bound when the mounts are first read: with the libraries under it, loading takes half a
// millisecond that only the file systems need.
#pragma once

#include <libmount/libmount.h>

#include "store/late_library.h"

namespace zel::system {

// clang-format off
#define ZEL_MOUNT_ENTRY_POINTS(X)                                                                  \
    X(mnt_new_table_from_file) X(mnt_unref_table) X(mnt_new_iter) X(mnt_free_iter)                 \
    X(mnt_table_next_fs) X(mnt_fs_get_fstype) X(mnt_fs_get_devno) X(mnt_fs_get_root)               \
    X(mnt_fs_get_id) X(mnt_fs_get_parent_id) X(mnt_fs_get_target) X(mnt_fs_is_pseudofs)            \
    X(mnt_fs_is_netfs) X(mnt_fs_is_swaparea)
// clang-format on

struct MountLibrary {
    static constexpr const char* kLibrary = "libmount.so.1";
    ZEL_LATE_TABLE(ZEL_MOUNT_ENTRY_POINTS)
};

/// As store::late_table.
inline const MountLibrary* mount_library() {
    return store::late_table<MountLibrary>();
}

}  // namespace zel::system
