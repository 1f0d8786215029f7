// SPDX-License-Identifier: GPL-3.0-or-later
#include "sel.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <string_view>

#include "sdr_repository.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sel";

enum Command : std::uint8_t { kGetSelInfo = 0x40, kGetSelEntry = 0x43 };
constexpr std::uint16_t kFirst = 0x0000;
constexpr std::uint16_t kLast = 0xffff;
constexpr std::size_t kErased = 6;  ///< Where the time of the last erasure stands in a position's state.

using State = decltype(SelPosition::state);

/// What was asked of the log; without a value where it has none, or is not there.
template <class Value>
struct Answer {
    bool reached = false;
    std::optional<Value> value = {};
};

Answer<State> read_state(Controller& controller) {
    constexpr std::size_t kLeast = 13;
    const auto reply = controller.request(0, kStorage, kGetSelInfo);
    if (!reply) return {};
    if (!reply->ok() || reply->data.size() < kLeast) return {.reached = true};
    const auto& data = reply->data;
    State state{data[1], data[2]};
    std::copy_n(data.begin() + 5, 8, state.begin() + 2);
    return {.reached = true, .value = state};
}

std::size_t count_in(const State& state) {
    return static_cast<std::size_t>(state[1] << 8 | state[0]);
}

struct Entry {
    SelRecord record;
    std::uint16_t next;
};

Answer<Entry> read_entry(Controller& controller, std::uint16_t id) {
    const std::array<std::uint8_t, 6> question{
        0, 0, static_cast<std::uint8_t>(id & 0xffU), static_cast<std::uint8_t>(id >> 8U), 0, 0xff};
    const auto reply = controller.request(0, kStorage, kGetSelEntry, question);
    if (!reply) return {};
    const auto& data = reply->data;
    Entry entry{};
    if (!reply->ok() || data.size() != 2 + entry.record.size()) return {.reached = true};
    std::copy_n(data.begin() + 2, entry.record.size(), entry.record.begin());
    entry.next = static_cast<std::uint16_t>(data[1] << 8 | data[0]);
    return {.reached = true, .value = entry};
}

/// Where reading goes on: the first record that is new; kLast when there is none.
Answer<std::uint16_t> first_new(Controller& controller, const SelPosition& position, const State& now) {
    const bool erased =
        !std::ranges::equal(std::span(position.state).subspan(kErased), std::span(now).subspan(kErased));
    if (count_in(now) == 0) return {.reached = true, .value = kLast};
    if (erased || !position.last) return {.reached = true, .value = kFirst};
    const auto last = read_entry(controller, id_of(*position.last));
    if (!last.reached) return {};
    const bool same = last.value && last.value->record == position.last;
    return {.reached = true, .value = same ? last.value->next : kFirst};
}

std::optional<std::vector<SelRecord>> read_from(Controller& controller, std::uint16_t id, std::size_t most) {
    std::vector<SelRecord> records;
    while (id != kLast && records.size() < most) {
        const auto [reached, entry] = read_entry(controller, id);
        if (!reached) return std::nullopt;
        // A record that is refused, or that follows itself, ends the log.
        if (!entry || entry->next == id_of(entry->record)) break;
        records.push_back(entry->record);
        id = entry->next;
    }
    return records;
}

template <std::size_t kSize>
bool read_hex(std::string_view& text, std::array<std::uint8_t, kSize>& bytes) {
    if (text.size() < 2 * kSize) return false;
    for (std::uint8_t& byte : bytes) {
        const auto [stop, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (error != std::errc{} || stop != text.data() + 2) return false;
        text.remove_prefix(2);
    }
    return true;
}

}  // namespace

std::string SelPosition::text() const {
    return to_hex(state) + (last ? to_hex(*last) : "");
}

std::optional<SelPosition> SelPosition::from(const std::string& text) {
    std::string_view rest = text;
    SelPosition position;
    SelRecord last{};
    if (!read_hex(rest, position.state)) return std::nullopt;
    if (rest.empty()) return position;
    if (!read_hex(rest, last) || !rest.empty()) return std::nullopt;
    position.last = last;
    return position;
}

std::optional<std::vector<SelRecord>> read_sel(Controller& controller, std::optional<SelPosition>& position,
                                               std::size_t most) {
    const auto now = read_state(controller);
    if (!now.reached) return std::nullopt;
    if (!now.value || (position && position->state == *now.value)) return std::vector<SelRecord>();
    if (!position) {
        const auto last =
            count_in(*now.value) > 0 ? read_entry(controller, kLast) : Answer<Entry>{.reached = true};
        if (!last.reached) return std::nullopt;
        position = {.state = *now.value,
                    .last = last.value ? std::optional(last.value->record) : std::nullopt};
        return std::vector<SelRecord>();
    }
    const auto first = first_new(controller, *position, *now.value);
    if (!first.reached) return std::nullopt;
    most = std::min(most, count_in(*now.value));
    auto records = read_from(controller, *first.value, most);
    if (!records) return std::nullopt;
    if (*first.value == kFirst) position->last.reset();
    if (!records->empty()) position->last = records->back();
    position->state = *now.value;
    // Another number of records than there are: the next look goes on.
    if (records->size() == most) position->state[0] ^= 0xffU;
    ZEL_TRACE(TRACE_LEVEL_INFO, "%zu new records.", records->size());
    return records;
}

}  // namespace zel::bmc
