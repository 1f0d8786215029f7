// SPDX-License-Identifier: GPL-3.0-or-later
// The machine's settings as they stand: read by resource, judged, written.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "exit.h"
#include "resource.h"
#include "setting.h"
#include "store/key_file_lock.h"

namespace zel::ctl {

/// Names of resources.
using Names = std::set<std::string>;

class Machine {
  public:
    /// One that has one of everything, under names that stand for any: what may be set at all.
    static Machine sample();

    /// Reads the settings of these resources. What cannot be read is among the problems; the rest is there.
    /// @param defaults  Takes what settings are without anybody's choice, where they may not be read.
    Exit read(const Names& names, Problems& problems, bool defaults = false);

    [[nodiscard]] const std::vector<Setting>& settings() const { return contents_.settings; }
    [[nodiscard]] const Values& values() const { return contents_.values; }
    /// Those below a path; a sensor is known by its name, too.
    [[nodiscard]] std::vector<const Setting*> below(const Path& path) const;
    [[nodiscard]] const Setting* find(const Path& path) const;
    /// The path that is most like a wrong one; empty when none is like it.
    [[nodiscard]] std::string nearest(const std::string& path) const;

    /// All settings that differ from what was read.
    [[nodiscard]] std::vector<Change> changes(const Values& wanted) const;
    /// Judges what differs, as the panels do.
    void judge(const Values& wanted, Problems& problems) const;
    /// Writes what differs, the files first, and has the service take it up.
    /// @param locks  On the files; given up once these are written, for a controller takes its time.
    /// @return done, in_part, no_service, no_controller or failed.
    Exit write(const Values& wanted, std::optional<store::HeldLocks>& locks, Problems& problems);

    /// A hash of what these resources have, in which secrets play no part.
    [[nodiscard]] std::string tag(const Names& names, const Values& values) const;

  private:
    void list(const Resource& resource);
    /// Writes those of the changed resources that the controller has, or the others.
    /// @param written  Whether anything was, before and by now: then a failure is one in part.
    Exit write_changed(bool controller, const Names& changed, const Values& wanted, Problems& problems,
                       bool& written);
    [[nodiscard]] const Path& own_path(const Path& path, Path& room) const;
    void make_index() const;
    /// Whether the setting is where one is looked for first, which `next_` is then.
    [[nodiscard]] bool is_next(const Path& path) const;
    [[nodiscard]] std::span<const Setting> of(const std::string& resource) const;

    Contents contents_;
    std::map<std::string, std::pair<std::size_t, std::size_t>>
        places_;                    ///< Of a resource's settings: first and end.
    mutable std::size_t next_ = 0;  ///< Behind the one that was found last.
    mutable std::unordered_map<std::string, std::size_t> index_;  ///< Made when somebody goes another way.
};

}  // namespace zel::ctl
