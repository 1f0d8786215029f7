// SPDX-License-Identifier: GPL-3.0-or-later
// Who changed which setting: each process puts its own changes into the system's journal, which adds who it was in fields
// that nobody can forge (_UID, _AUDIT_LOGINUID).
#pragma once

#include <span>
#include <string>

#include "store/key_file.h"
#include "threshold_file.h"

namespace zel::settings {

using Changed = std::span<const store::KeyFile::Change>;

/// One setting as it is told. "(hidden)" stands for what must not be told.
struct ToldChange {
    std::string path;  ///< As on command lines: "cpu.TOTAL.fatal.report".
    std::string before;
    std::string after;
};

/// A registry's value as it is told: without its type.
std::string without_type(const std::string& stored);

/// Logs a change: path, old value, new value.
void log_change(const ToldChange& change);

/// Logs what changed in the registry: the settings of the value tables, and the event log's cycle. Others, such as
/// marks and counters of the agent itself, are none.
void log_registry_changes(Changed changes);

/// Logs what changed in a file of thresholds.
void log_file_changes(const ThresholdFile& file, Changed changes);

}  // namespace zel::settings
