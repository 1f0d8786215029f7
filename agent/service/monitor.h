// SPDX-License-Identifier: GPL-3.0-or-later
// Watching: each resource is looked at when it is time to, judged, and what changes is told. Looks that hang delay
// nobody.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "rota.h"

namespace zel::service {

/// What all watching shares.
class Told;

class Monitor {
  public:
    /// Begins to watch, where the service before it ended.
    /// @param publish  Is given each event as a line of JSON, from any thread.
    explicit Monitor(std::function<void(const std::string&)> publish);
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    /// Looks at a resource at once: its settings have changed. All of them without a name.
    void look_at(std::string_view resource = {});

    /// Forgets what was counted of an object, and ends its levels that nothing else ends.
    void start_again(const std::string& resource, const std::string& object);

    /// Tells an event, marked as a test, wherever events are told.
    void test_telling();

  private:
    std::shared_ptr<Told> told_;
    Rota rota_;
};

}  // namespace zel::service
