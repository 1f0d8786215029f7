// SPDX-License-Identifier: GPL-3.0-or-later
#include "cpu.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <libintl.h>
#include <zel/access_monitor.h>
#include <zel/trace.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <string>
#include <utility>

#include "cpu_rows.h"

namespace zel {

using namespace cpu;

namespace {

constexpr char kModule[] = "cpu";

// ---- texts and records

constexpr std::array kSamplingChoices = {1, 2, 3, 4, 5, 6, 10, 12, 15, 20, 30, 60};
constexpr std::size_t kSamplingColumns = 4;
constexpr int kCycleColumns = 15;
constexpr int kCpuListWidth = 8;

struct CycleChoice {
    const char* label;
    std::int32_t seconds;
};
constexpr std::array<CycleChoice, 6> kCycleChoices = {{{"CPU_CPUCYCLE1_ID", 60},
                                                       {"CPU_CPUCYCLE2_ID", 300},
                                                       {"CPU_CPUCYCLE3_ID", 1800},
                                                       {"CPU_CPUCYCLE4_ID", 3600},
                                                       {"CPU_CPUCYCLE5_ID", 86400},
                                                       {"CPU_CPUCYCLE6_ID", 604800}}};

/// [0] sampling list, [1] cycle list, [2..5] the threshold entries.
newtComponent* keepentry = nullptr;
newtComponent CpuCheck = nullptr;

/// Which entry holds which threshold; the order of the entries is not that of the record.
struct EntryField {
    std::size_t entry;
    std::int32_t CpuThresholdRow::*field;
};
constexpr std::array<EntryField, 4> kEntryFields = {{{2, &CpuThresholdRow::fatalReport},
                                                     {3, &CpuThresholdRow::warningReport},
                                                     {4, &CpuThresholdRow::fatalReset},
                                                     {5, &CpuThresholdRow::warningReset}}};
constexpr std::size_t kFirstEntry = 2;
constexpr std::size_t kLastEntry = 5;

struct InvalidBit {
    int bit;
    const char* message;
};
constexpr std::array<InvalidBit, 3> kInvalidBits = {
    {{0x1, "CPUERR_FATALBIG_ID"}, {0x10, "CPUERR_WARNSMALL_ID"}, {0x100, "CPUERR_ORDER_ID"}}};

void message(const char* identifier) {
    show_message("TITTLE_CPU_ID", text(identifier));
}

// ---- layout

/// The components that the rules need, in no particular order.
struct Widgets {
    std::array<newtComponent, kLastEntry + 1> entries{};  // `keepentry`
    newtComponent cpu_list = nullptr;
    OkCancel buttons;
    char mark = kCleared;
};

int sampling_index(std::int32_t interval) {
    const auto* const found = std::find(kSamplingChoices.begin(), kSamplingChoices.end(), interval);
    return found != kSamplingChoices.end() ? static_cast<int>(found - kSamplingChoices.begin()) : 0;
}

int cycle_index(std::int32_t seconds) {
    int index = 0;
    while (index < static_cast<int>(kCycleChoices.size()) - 1 &&
           seconds > kCycleChoices[static_cast<std::size_t>(index)].seconds)
        ++index;
    return index;
}

newtComponent make_sampling_list(Dialog& dialog, std::int32_t interval) {
    std::vector<std::string> rows;
    rows.reserve(kSamplingChoices.size());
    for (int choice : kSamplingChoices)
        rows.push_back(fit(std::to_string(choice), kSamplingColumns));
    return dialog.list(numbered(rows), {.selected = sampling_index(interval)});
}

using CycleTexts = std::array<std::string, kCycleChoices.size()>;

CycleTexts read_cycle_texts() {
    CycleTexts texts;
    std::transform(kCycleChoices.begin(), kCycleChoices.end(), texts.begin(),
                   [](const CycleChoice& choice) { return fit(text(choice.label), kCycleColumns); });
    return texts;
}

void CpuEnableMornitorFunc(newtComponent list, void* data);

newtComponent make_cpu_list(Dialog& dialog) {
    std::vector<std::string> rows = {"TOTAL "};
    for (std::int32_t cpu = 1; cpu <= TotalCpuCount; ++cpu)
        rows.push_back("CPU" + std::to_string(cpu) + " ");
    return dialog.list(numbered(rows), {.width = kCpuListWidth, .on_move = CpuEnableMornitorFunc});
}

newtComponent make_enable_box(Dialog& dialog, bool enabled, Widgets& widgets) {
    CheckStruct = {.components = widgets.entries.data(),
                   .first = kFirstEntry,
                   .last = kLastEntry,
                   .source = &widgets.mark};
    return dialog.checkbox(text("CPU_ENABLE_ID"), enabled, &widgets.mark, {.on_change = CheckButtonFunc});
}

void make_entries(Dialog& dialog, const CpuThresholdRow& total, int width, Widgets& widgets) {
    const int flags = total.enable == 0 ? NEWT_FLAG_DISABLED : 0;
    for (const EntryField& field : kEntryFields)
        widgets.entries[field.entry] = dialog.number_entry(std::to_string(total.*field.field), width, flags);
}

void build(Dialog& dialog, const CycleTexts& cycle_texts, const CpuSettingsRecord& settings,
           Widgets& widgets) {
    const CpuThresholdRow total = total_of(settings);
    const std::string report_text = text("CPU_REPORT_ID");
    const std::string reset_text = text("CPU_RESET_ID");

    newtComponent sample_label = dialog.label(text("CPU_SAMPLE_ID"));
    newtComponent cycle_label = dialog.label(text("CPU_UTILI_ID"));
    newtComponent cpu_label = dialog.label(text("CPU_CPU_ID"));
    newtComponent fatal_label = dialog.label(text("CPU_FATAL_ID"));
    newtComponent warning_label = dialog.label(text("CPU_WARNING_ID"));
    newtComponent report_label = dialog.label(report_text);
    newtComponent reset_label = dialog.label(reset_text);
    newtComponent blank = dialog.label(dcgettext(nullptr, " ", LC_MESSAGES));

    auto& entries = widgets.entries;
    keepentry = entries.data();
    entries[0] = make_sampling_list(dialog, settings.samplingInterval);
    entries[1] = dialog.list(numbered(cycle_texts), {.selected = cycle_index(settings.cycleSeconds)});
    widgets.cpu_list = make_cpu_list(dialog);
    CpuCheck = make_enable_box(dialog, total.enable != 0, widgets);
    make_entries(dialog, total, std::max(columns_of(reset_text), columns_of(report_text)) + 1, widgets);
    widgets.buttons = dialog.ok_cancel({}, {.left = 4});

    newtGrid upper = dialog.grid(2, 3,
                                 {{0, 0, sample_label, kLeft},
                                  {1, 0, entries[0], kLeft, {.left = 1}},
                                  {0, 1, cycle_label, kLeft},
                                  {1, 1, entries[1], kLeft, {.left = 1}},
                                  {0, 2, cpu_label, kLeft, {.top = 1}},
                                  {1, 2, widgets.cpu_list, kLeft, {.left = 1, .top = 1}}});
    newtGrid thresholds = dialog.grid(3, 4,
                                      {{0, 0, CpuCheck, kTop},
                                       {1, 0, blank, kTop},
                                       {2, 0, blank, kTop},
                                       {0, 1, blank, kLeft},
                                       {1, 1, report_label, kLeft, {.right = 2}},
                                       {2, 1, reset_label, kLeft},
                                       {0, 2, fatal_label, kLeft, {.left = 4}},
                                       {1, 2, entries[2], kLeft, {.right = 2}},
                                       {2, 2, entries[4], kLeft},
                                       {0, 3, warning_label, kLeft, {.left = 4}},
                                       {1, 3, entries[3], kLeft, {.right = 2}},
                                       {2, 3, entries[5], kLeft}});
    newtGrid outer = dialog.grid(1, 3,
                                 {{0, 0, upper, kLeft},
                                  {0, 1, thresholds, kLeft, {.top = 1}},
                                  {0, 2, widgets.buttons.row, kTop, {.top = 1}}});

    dialog.add({sample_label, entries[0], cycle_label, entries[1], cpu_label, widgets.cpu_list, CpuCheck,
                fatal_label, warning_label, report_label, reset_label, entries[2], entries[4], entries[3],
                entries[5], widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, text("TITTLE_CPU_ID"), {1, 15, 128});
}

// ---- moving the CPU list

/// An emptied entry keeps the old value.
void refill_empty_entries(const CpuThresholdRow& row) {
    for (const EntryField& field : kEntryFields) {
        if (entry_is_empty(keepentry[field.entry])) set_entry(keepentry[field.entry], row.*field.field);
    }
}

void read_entries(CpuThresholdRow& row) {
    for (const EntryField& field : kEntryFields)
        row.*field.field = entry_number(keepentry[field.entry]);
}

void show_row(const CpuThresholdRow& row) {
    for (const EntryField& field : kEntryFields)
        set_entry(keepentry[field.entry], row.*field.field);
    set_mark(CpuCheck, row.enable != 0);
}

void CpuEnableMornitorFunc(newtComponent list, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const std::intptr_t new_row = current_row(list);
    if (row_exists(new_row)) {
        CpuThresholdRow& left_row = row_at(current);
        const bool enabled = *CheckStruct.source == kMarked;
        if (enabled) {
            refill_empty_entries(left_row);
            read_entries(left_row);
        }
        left_row.enable = enabled ? 1 : 0;
        current = static_cast<std::int32_t>(new_row);
        show_row(row_at(current));
        CheckButtonFunc(nullptr, nullptr);
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

// ---- OK

void write_cycle(const Widgets& widgets) {
    const auto sampling = static_cast<std::size_t>(current_row(widgets.entries[0]));
    const auto cycle = static_cast<std::size_t>(current_row(widgets.entries[1]));
    const CpuCycleRecord record = {.samplingInterval = kSamplingChoices[sampling],
                                   .cycleSeconds = kCycleChoices[cycle].seconds};
    PutCycletoReg(&record);
}

/// Takes the shown row from the widgets; its thresholds stay as stored while it is disabled. False, with a
/// message, when an entry is empty.
bool take_shown_row(const Widgets& widgets, CpuThresholdRow& row) {
    row.enable = widgets.mark == kMarked ? 1 : 0;
    if (row.enable == 0) return true;
    for (const EntryField& field : kEntryFields) {
        if (entry_is_empty(widgets.entries[field.entry])) {
            message("INPUT_NULL_ID");
            return false;
        }
    }
    read_entries(row);
    return true;
}

enum class RowState { valid, skipped, reported };

/// Has the agent judge an enabled row and tells the first error that has a message.
RowState judge(const CpuThresholdRow& row) {
    const int problems = row.enable == 1 ? TestInputCpuParameter(&row) : 0;
    for (const InvalidBit& invalid : kInvalidBits) {
        if ((problems & invalid.bit) != 0) {
            message(invalid.message);
            return RowState::reported;
        }
    }
    return problems == 0 ? RowState::valid : RowState::skipped;
}

/// Writes the cycle and every valid row, up to the first one that brings a message. True when the panel may
/// close: the shown row and the last of the others were written.
bool write_settings(const Widgets& widgets, const CpuSettingsRecord& settings) {
    write_cycle(widgets);
    const std::intptr_t shown_row = current_row(widgets.cpu_list);
    int shown_result = 0;
    int other_result = 0;
    for (std::int32_t number = 0; number <= TotalCpuCount; ++number) {
        const bool shown = number == shown_row;
        // Without CPUs nothing was read into the table: TOTAL then stands in the settings alone.
        CpuThresholdRow row = TotalCpuCount == 0 ? total_of(settings) : row_at(number);
        if (shown && !take_shown_row(widgets, row)) return false;
        const RowState state = judge(row);
        if (state == RowState::reported) return false;
        if (state == RowState::valid) (shown ? shown_result : other_result) = PutCpuThreshold(number, &row);
    }
    return (shown_result & other_result) != 0;
}

}  // namespace

void CpuPanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const CycleTexts cycle_texts = read_cycle_texts();
    CpuSettingsRecord settings;
    if (!read_settings(settings)) {
        show_error(text("HWERR_OPEN_ID"));
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetCpuDataFromRegistry() failed.");
        return;
    }
    {
        Widgets widgets;
        Dialog dialog;
        build(dialog, cycle_texts, settings, widgets);
        dialog.run_until(widgets.buttons, [&] { return write_settings(widgets, settings); });
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
