// SPDX-License-Identifier: GPL-3.0-or-later
// Libraries that only some calls need, loaded when the first of those comes: linked, each would cost every
// start of every program that uses the agent.
#pragma once

#include <string>

namespace zel::store {

/// A library that stays loaded as long as the process lives.
class LateLibrary {
  public:
    /// Loads it; a library that cannot be loaded is told in the trace log.
    explicit LateLibrary(const char* name);

    [[nodiscard]] bool loaded() const { return handle_ != nullptr; }

    /// Sets `slot` to the entry point. False, told in the trace log, when the library lacks it or was not
    /// loaded.
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

}  // namespace zel::store
