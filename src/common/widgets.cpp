// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/widgets.h>
#include <zel/trace.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace zel {

CheckRecord CheckStruct{};
CheckRecord CheckboxStruct{};

namespace {

constexpr char kModule[] = "widgets";

newtFlagsSense sense_of(bool set) {
    return set ? NEWT_FLAGS_SET : NEWT_FLAGS_RESET;
}

void disable_dependents(const CheckRecord& record, void (*set)(newtComponent, bool)) {
    const bool disabled = *record.source == kCleared;
    for (std::int32_t i = record.first; i <= record.last; ++i)
        set(record.components[i], disabled);
}

const char* entry_text(newtComponent entry) {
    const char* value = newt.newtEntryGetValue(entry);
    return value != nullptr ? value : "";
}

}  // namespace

void CheckButtonFunc(newtComponent, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    disable_dependents(CheckStruct, set_disabled);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void CheckBoxFunc(newtComponent, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    disable_dependents(CheckboxStruct, set_checkbox_disabled);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

int EntryNumricFilter(newtComponent, void*, int ch, int cursor) {
    // Compared with the digits themselves: newt's key codes lie outside what isdigit may be asked.
    if (ch >= '0' && ch <= '9') return ch;
    if (ch == '-') return cursor == 0 ? ch : 0;
    switch (ch) {
        case NEWT_KEY_UP:
        case NEWT_KEY_DOWN:
        case NEWT_KEY_LEFT:
        case NEWT_KEY_RIGHT:
        case NEWT_KEY_BKSPC:
        case NEWT_KEY_DELETE:
        case NEWT_KEY_HOME:
        case NEWT_KEY_END:
            return ch;
        default:
            return 0;
    }
}

void set_disabled(newtComponent entry, bool disabled) {
    newt.newtEntrySetFlags(entry, NEWT_FLAG_DISABLED, sense_of(disabled));
}

void set_checkbox_disabled(newtComponent box, bool disabled) {
    newt.newtCheckboxSetFlags(box, NEWT_FLAG_DISABLED, sense_of(disabled));
}

void set_mark(newtComponent box, bool marked) {
    newt.newtCheckboxSetValue(box, marked ? kMarked : kCleared);
}

newtComponent marked_radio_button(newtComponent first) {
    return newt.newtRadioGetCurrent(first);
}

std::int64_t entry_long(newtComponent entry) {
    return std::strtol(entry_text(entry), nullptr, 10);
}

std::int32_t entry_number(newtComponent entry) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(entry_long(entry), Limits::min(), Limits::max()));
}

bool entry_is_empty(newtComponent entry) {
    return *entry_text(entry) == '\0';
}

std::string entry_string(newtComponent entry) {
    return entry_text(entry);
}

void set_entry(newtComponent entry, std::int64_t number) {
    newt.newtEntrySet(entry, std::to_string(number).c_str(), 0);
}

std::intptr_t current_row(newtComponent list) {
    return reinterpret_cast<std::intptr_t>(newt.newtListboxGetCurrent(list));
}

}  // namespace zel
