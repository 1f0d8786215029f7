// SPDX-License-Identifier: GPL-3.0-or-later
// The controller's system event log (SEL): read, and never cleared.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "controller.h"

namespace zel::bmc {

using SelRecord = std::array<std::uint8_t, 16>;

/// Records are numbered so, from 1 on; numbers come again when the log was erased or is full.
inline std::uint16_t id_of(const SelRecord& record) {
    return static_cast<std::uint16_t>(record[1] << 8 | record[0]);
}

/// Where a reader of the log stands: what the log said of itself, and the last record that was read.
struct SelPosition {
    std::array<std::uint8_t, 10> state{};  ///< Number of records; times of the last addition and erasure.
    std::optional<SelRecord> last = {};

    [[nodiscard]] std::string text() const;
    /// Nothing for a text that is none.
    static std::optional<SelPosition> from(const std::string& text);
};

/// Reads the records that are newer than the position, oldest first, and moves it behind them. A log that was erased
/// meanwhile, or has gone round, is read from its first record on. One request where nothing is new.
/// @param position  Nothing: at the log's end, as it is when reading begins.
/// @param most      Records at most. The others are for the next time.
/// @return Nothing, with the reason traced, when the controller does not answer. A controller without such a log has no
///         records.
std::optional<std::vector<SelRecord>> read_sel(Controller& controller, std::optional<SelPosition>& position,
                                               std::size_t most);

/// What a record says, with the controller's own time, as FreeIPMI writes it.
/// @param name  The sensor's, where it is known.
std::string sel_text(const SelRecord& record, const std::string& name);

}  // namespace zel::bmc
