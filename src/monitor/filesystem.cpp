// SPDX-License-Identifier: GPL-3.0-or-later
#include "filesystem.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/trace.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>

#include "filesystem_lists.h"
#include "filesystem_thresholds.h"

namespace zel {

using namespace filesystem;

namespace {

constexpr char kModule[] = "filesystem";
constexpr int kIntervalWidth = 9;
constexpr int kValueWidth = 10;
constexpr int kEmptyWidth = 12;
constexpr int kPathColumns = 56;
constexpr std::size_t kIntervalEntry = 0;

// ---- state that the callbacks share

FsThresholdRecord* keepdata = nullptr;  // what is shown
FsSizeNode* keepsize = nullptr;
std::int32_t last_radio = 0;  // the mode that the entries show
newtComponent list = nullptr;

void message(const std::string& message_text) {
    show_message("TITTLE_FILESYS_ID", message_text);
}

bool is_known_mode(std::int32_t mode) {
    return mode >= FS_MODE_OFF && mode <= FS_MODE_SPACE;
}

/// The form that a mode shows; null for a mode that shows none.
Form form_of(std::int32_t mode) {
    if (mode == FS_MODE_PERCENT) return &ThresholdPair::percent;
    if (mode == FS_MODE_SPACE) return &ThresholdPair::space;
    return nullptr;
}

// ---- layout

struct Widgets {
    OkCancel buttons;
    bool none = false;  // there is nothing to edit
};

void Func1(newtComponent component, void* data);
void Func2(newtComponent component, void* data);

void make_radio_buttons(Dialog& dialog, std::int32_t mode) {
    static constexpr std::array kLabels = {"FILE_DISABLE_ID", "FILE_ENABLECP_ID", "FILE_ENABLEBY_ID"};
    for (std::size_t i = 0; i < kLabels.size(); ++i) {
        const bool set = mode == static_cast<std::int32_t>(i) + FS_MODE_OFF;
        radio[i] =
            dialog.radio_button(text(kLabels[i]), set, i > 0 ? radio[i - 1] : nullptr, {.on_change = Func1});
    }
}

void make_threshold_entries(Dialog& dialog, std::int32_t mode) {
    const Form form = form_of(mode);
    for (const ThresholdPair& pair : kThresholdPairs) {
        entry[pair.entry] =
            form != nullptr
                ? dialog.number_entry(std::to_string(FSdata->*(pair.*form)), kValueWidth, NEWT_FLAG_SCROLL)
                : dialog.number_entry("", kEmptyWidth, NEWT_FLAG_SCROLL | NEWT_FLAG_DISABLED);
    }
}

std::vector<std::string> paths_of_file_systems() {
    std::vector<std::string> paths;
    for (const FsThresholdRecord* record = FSdata; record != nullptr; record = record->next)
        paths.push_back(shorten({record->path, strnlen(record->path, sizeof record->path)}, kPathColumns));
    return paths;
}

void build(Dialog& dialog, Widgets& widgets) {
    newtComponent interval_label = dialog.label(text("CPU_SAMPLE_ID"));
    newtComponent device_label = dialog.label(text("FILE_DEVICE_ID"));
    entry[kIntervalEntry] = dialog.number_entry(std::to_string(FScycle), kIntervalWidth);
    widgets.buttons = dialog.ok_cancel({});
    newtComponent fatal_label = dialog.label(text("FILE_FATAL_ID"));
    newtComponent warning_label = dialog.label(text("FILE_WARNING_ID"));
    newtComponent report_label = dialog.label(text("CPU_REPORT_ID"));
    newtComponent reset_label = dialog.label(text("CPU_RESET_ID"));
    newtComponent blank = dialog.label("");

    const std::int32_t mode = widgets.none ? FS_MODE_OFF : FSdata->mode;
    make_radio_buttons(dialog, mode);
    make_threshold_entries(dialog, mode);
    if (widgets.none) set_disabled(entry[kIntervalEntry], true);

    newtGrid interval =
        dialog.grid(2, 1, {{0, 0, interval_label, kTop}, {1, 0, entry[kIntervalEntry], kLeft}});
    newtGrid device = dialog.grid(2, 1, {{0, 0, device_label, kTop}, {1, 0, list, kLeft}});
    newtGrid modes =
        dialog.grid(1, 3, {{0, 0, radio[0], kLeft}, {0, 1, radio[1], kLeft}, {0, 2, radio[2], kLeft}});
    newtGrid thresholds = dialog.grid(3, 4,
                                      {{0, 0, blank, kTop},
                                       {1, 0, blank, kTop},
                                       {2, 0, blank, kTop},
                                       {0, 1, blank, kLeft},
                                       {1, 1, report_label, kLeft, {.right = 2}},
                                       {2, 1, reset_label, kLeft},
                                       {0, 2, fatal_label, kLeft, {.left = 4}},
                                       {0, 3, warning_label, kLeft, {.left = 4}},
                                       {1, 2, entry[2], kLeft, {.right = 2}},
                                       {1, 3, entry[3], kLeft, {.right = 2}},
                                       {2, 2, entry[4], kLeft},
                                       {2, 3, entry[5], kLeft}});
    newtGrid gap = dialog.grid(1, 1, {{0, 0, blank, kTop}});
    newtGrid main_grid = dialog.grid(1, 6,
                                     {{0, 0, interval, kTop},
                                      {0, 1, gap, kTop},
                                      {0, 2, device, kTop},
                                      {0, 3, modes, kLeft, {.top = 1}},
                                      {0, 4, thresholds, kLeft, {.top = 1}},
                                      {0, 5, widgets.buttons.row, kTop, {.top = 1}}});
    dialog.add({interval_label, entry[kIntervalEntry], device_label, list, radio[0], radio[1], radio[2],
                fatal_label, warning_label, report_label, reset_label, entry[2], entry[4], entry[3], entry[5],
                widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(main_grid, text("TITTLE_FILESYS_ID"), {1, 15, 128});
}

// ---- callbacks

/// Sets a radio button's mark alone; newt's own call would run the button's callback.
void newtRadioSetCurrent(newtComponent button, char mark) {
    set_mark(button, mark == kMarked);
}

void show_entries(const FsThresholdRecord& record) {
    const Form form = form_of(record.mode);
    for (const ThresholdPair& pair : kThresholdPairs) {
        if (form != nullptr) set_entry(entry[pair.entry], record.*(pair.*form));
        set_disabled(entry[pair.entry], form == nullptr);
    }
}

/// The list moved: keeps what was entered for the file system that is left and shows the new one.
void Func2(newtComponent, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const std::intptr_t row = current_row(list);
    FsThresholdRecord* record = record_at(FSdata, row);
    FsSizeNode* size = record_at(FSsize, row);
    KeepFSValue(keepdata, keepsize);
    last_radio = record->mode;
    for (std::size_t i = 0; i < radio.size(); ++i)
        newtRadioSetCurrent(radio[i],
                            last_radio == static_cast<std::int32_t>(i) + FS_MODE_OFF ? kMarked : kCleared);
    show_entries(*record);
    keepdata = record;
    keepsize = size;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

/// The mode changed: converts what the entries hold and shows it in the new form.
void Func1(newtComponent, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    keepdata->mode = selected_mode();
    if (keepdata->mode != FS_MODE_OFF) {
        if (last_radio == FS_MODE_PERCENT) {
            refill_empty_entries(*keepdata, &ThresholdPair::percent);
            PercentToBytes(keepdata, keepsize);
        } else if (last_radio == FS_MODE_SPACE) {
            refill_empty_entries(*keepdata, &ThresholdPair::space);
            BytesToPercent(keepdata, keepsize);
        }
    }
    show_entries(*keepdata);
    last_radio = keepdata->mode;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

// ---- OK

std::int64_t highest_value(std::int32_t mode, const FsSizeNode& size) {
    if (mode == FS_MODE_PERCENT) return 100;
    constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return static_cast<std::int64_t>(std::min(size.size, kMost / 100) * 100);
}

/// Tests the shown thresholds before they are kept; a file system that is not watched has none.
bool entries_are_usable(std::int32_t mode, const FsSizeNode& size) {
    if (mode == FS_MODE_OFF) return true;
    std::array<int, kThresholdPairs.size()> values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
        newtComponent shown = entry[kThresholdPairs[i].entry];
        if (entry_is_empty(shown)) {
            message(text("INPUT_NULL_ID"));
            return false;
        }
        values[i] = entry_number(shown);
    }
    if (TestCurrentFSValue(values[0], values[1], values[2], values[3], highest_value(mode, size)) != 0) {
        message(text("FILEERR_FATALB_ID"));
        return false;
    }
    return true;
}

/// Has the agent judge everything and tells each problem. True when there is none.
bool are_valid() {
    const int problems = TestInputFilesysParameter(FSdata, FScycle);
    if ((problems & FS_TEST_FAILED) != 0) {
        show_call_failed("TestInputFilesysParameter");
        return false;
    }
    if ((problems & FS_TEST_INTERVAL) != 0)
        message(format_text(text("FILEERR_INTERVAL_ID"), {MONITOR_INTERVAL_MIN, MONITOR_INTERVAL_MAX}));
    if ((problems & FS_TEST_FATAL_BIG) != 0) message(text("FILEERR_FATALB_ID"));
    if ((problems & FS_TEST_WARNING_SMALL) != 0) message(text("FILEERR_WARNS_ID"));
    if ((problems & FS_TEST_ORDER) != 0) message(text("FILEERR_ORDER_ID"));
    return problems == 0;
}

/// Writes what changed. True when the panel may close.
bool write_settings(const Widgets& widgets) {
    if (widgets.none) {
        message(text("STORERR_NONESEL_ID"));
        return false;
    }
    FScycle = entry_number(entry[kIntervalEntry]);
    const std::intptr_t row = current_row(list);
    FsThresholdRecord* record = record_at(FSdata, row);
    const FsSizeNode* size = record_at(FSsize, row);
    if (!entries_are_usable(selected_mode(), *size)) return false;
    KeepFSValue(record, size);
    if (Test_Changed() == 0) return true;
    if (!are_valid()) return false;
    if (ResetFilesysService(FSdata, FScycle) != FS_WRITE_FAILED) return true;
    message(text("STORERR_WRITE_ID"));
    return false;
}

/// The panel, with all that it frees.
Failure run_panel() {
    const Lists lists;
    if (!Lists::allocated()) return kNoHeads;
    Widgets widgets;
    widgets.none = !Lists::read();
    Dialog dialog;
    std::vector<ListRow> rows;
    if (!widgets.none) {
        rows = numbered(paths_of_file_systems());
        if (const Failure failure = Lists::measure(); failure.call != nullptr) return failure;
        widgets.none = !is_known_mode(FSdata->mode);
    }
    if (widgets.none) rows.push_back({"none", 0});
    list = dialog.list(rows, {.on_move = Func2});
    keepdata = FSdata;
    keepsize = FSsize;
    last_radio = FSdata->mode;
    build(dialog, widgets);
    dialog.run_until(
        widgets.buttons, [&] { return write_settings(widgets); }, OnHotKey::run_again);
    return {};
}

}  // namespace

void FilePanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const Failure failure = run_panel();
    if (failure.call == nullptr) {
        ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
        return;
    }
    show_call_failed(failure.call);
    ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s", failure.trace);
}

}  // namespace zel
