// SPDX-License-Identifier: GPL-3.0-or-later
// libmount, bound when the mounts are first read: with the libraries under it, loading takes half a
// millisecond that only the file systems need.
#pragma once

#include <libmount/libmount.h>

namespace zel::system {

// clang-format off
#define ZEL_MOUNT_ENTRY_POINTS(X)                                                                  \
    X(mnt_new_table_from_file) X(mnt_unref_table) X(mnt_new_iter) X(mnt_free_iter)                 \
    X(mnt_table_next_fs) X(mnt_fs_get_fstype) X(mnt_fs_get_devno) X(mnt_fs_get_root)               \
    X(mnt_fs_get_id) X(mnt_fs_get_parent_id) X(mnt_fs_get_target) X(mnt_fs_is_pseudofs)            \
    X(mnt_fs_is_netfs) X(mnt_fs_is_swaparea)
// clang-format on

#define ZEL_TABLE_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses)
struct MountLibrary {
    ZEL_MOUNT_ENTRY_POINTS(ZEL_TABLE_MEMBER)
};
#undef ZEL_TABLE_MEMBER

/// The entry points, loaded once per process; null (the reason is in the trace log) without libmount.
const MountLibrary* mount_library();

}  // namespace zel::system
