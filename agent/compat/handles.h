// SPDX-License-Identifier: GPL-3.0-or-later
// Handles as callers see them: numbers in the dress of a pointer, never reused, so that a wrong or closed one
// is told apart from a good one without touching memory.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace zel::compat {

/// A number that no table has handed out yet; a multiple of 4, so never that of a root key.
inline std::uintptr_t next_handle_number() {
    static std::atomic<std::uintptr_t> last{0x100};
    return last += 4;
}

/// The open objects of one kind. Thread-safe; an object in use outlives its removal.
template <class Object>
class HandleTable {
  public:
    void* add(std::shared_ptr<Object> object) {
        const std::uintptr_t number = next_handle_number();
        const std::lock_guard guard(mutex_);
        objects_.emplace(number, std::move(object));
        return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
    }

    /// Null for what is not an open handle of this table.
    std::shared_ptr<Object> find(void* handle) {
        const std::lock_guard guard(mutex_);
        const auto place = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
        return place == objects_.end() ? nullptr : place->second;
    }

    /// Takes the object out; null as above.
    std::shared_ptr<Object> remove(void* handle) {
        const std::lock_guard guard(mutex_);
        const auto node = objects_.extract(reinterpret_cast<std::uintptr_t>(handle));
        return node.empty() ? nullptr : std::move(node.mapped());
    }

  private:
    std::mutex mutex_;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> objects_;
};

/// The table of one kind. Never destroyed: threads may still use it while the process ends.
template <class Object>
HandleTable<Object>& handles() {
    static HandleTable<Object>& table = *new HandleTable<Object>;
    return table;
}

}  // namespace zel::compat
