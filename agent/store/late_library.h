// SPDX-License-Identifier: GPL-3.0-or-later
// Libraries that only some calls need, loaded when the first of those comes: linked, each would cost every
// start of every program that uses the agent.
#pragma once

#include <string>

namespace zel::store {

/// A library that stays loaded as long as the process lives.
class LateLibrary {
  public:
    /// Loads it; a library that cannot be loaded is traced.
    explicit LateLibrary(const char* name);

    [[nodiscard]] bool loaded() const { return handle_ != nullptr; }

    /// Sets `slot` to the entry point. False, and traced, when the library lacks it or was not loaded.
    template <class EntryPoint>
    bool bind(const char* name, EntryPoint& slot) const {
        slot = reinterpret_cast<EntryPoint>(find(name));
        return slot != nullptr;
    }

  private:
    [[nodiscard]] void* find(const char* name) const;

    std::string name_;
    void* handle_;
};

// The members of a library's table, from a macro that lists its entry points with their C names.
#define ZEL_LATE_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses)
#define ZEL_LATE_BIND(name) &&library.bind(#name, this->name)
#define ZEL_LATE_TABLE(ENTRY_POINTS)                                  \
    ENTRY_POINTS(ZEL_LATE_MEMBER)                                     \
    [[nodiscard]] bool bind(const zel::store::LateLibrary& library) { \
        return library.loaded() ENTRY_POINTS(ZEL_LATE_BIND);          \
    }

/// The entry points of `Table::kLibrary`, loaded once per process; null (the reason is traced) when it is not
/// installed or lacks one of them.
template <class Table>
const Table* late_table() {
    static Table table;
    static const bool bound = table.bind(LateLibrary(Table::kLibrary));
    return bound ? &table : nullptr;
}

}  // namespace zel::store
