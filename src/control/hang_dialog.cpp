// SPDX-License-Identifier: GPL-3.0-or-later
#include "hang_dialog.h"

#include <agntconf/readstrfile.h>
#include <zel/access_control.h>

#include <algorithm>

namespace zel {

namespace {

constexpr int kListWidth = 22;
constexpr int kLastWhen = 1;
constexpr int kLastAfter = 3;

}  // namespace

bool split_action_code(std::uint64_t code, HangActions& actions) {
    HangActions split;
    if (GetTimeoutAct(&split.when, &split.after, code) == 0) {
        actions = {};
        return false;
    }
    actions = {.when = std::clamp(split.when, 0, kLastWhen), .after = std::clamp(split.after, 0, kLastAfter)};
    return true;
}

std::uint64_t join_action_code(const HangActions& actions, std::uint64_t code) {
    SetTimeoutAct(actions.when, actions.after, &code);
    return code;
}

newtComponent HangDialog::make_list(const HangDialogKind& kind, std::initializer_list<const char*> rows,
                                    int selected) {
    std::vector<std::string> texts;
    for (const char* row : rows) {
        texts.push_back(text(row));
        if (!kind.readable) break;  // of settings that could not be read only the first row shows
    }
    return dialog_.list(
        numbered(texts),
        {.width = kListWidth, .flags = NEWT_FLAG_SCROLL, .selected = kind.readable ? selected : 0});
}

HangDialog::HangDialog(const HangDialogKind& kind) {
    newtComponent check = dialog_.checkbox(text(kind.check_label), kind.enabled, &mark_,
                                           {.disabled = !kind.readable, .on_change = CheckButtonFunc});
    dialog_.add({check});

    newtGrid settings = dialog_.grid(2, static_cast<int>(kind.fields.size()) + 2, {});
    int row = 0;
    const auto add_row = [&](const char* label_id, newtComponent field) {
        newtComponent label = dialog_.label(text(label_id));
        const int above = row == 0 ? 0 : 1;
        dialog_.place(settings, {0, row, label, kLeft, {.top = above}});
        dialog_.place(settings, {1, row, field, kLeft, {.left = 1, .top = above}});
        dialog_.add({label, field});
        ++row;
    };
    for (const HangField& field : kind.fields) {
        entries_.push_back(
            dialog_.number_entry(field.text, kind.entry_width, kind.enabled ? 0 : NEWT_FLAG_DISABLED));
        add_row(field.label, entries_.back());
    }
    when_ = make_list(kind, {"SHUTDOWN_WACTION1_ID", "SHUTDOWN_WACTION2_ID"}, kind.actions.when);
    add_row("SHUTDOWN_WHEN_ID", when_);
    after_ = make_list(
        kind,
        {"SHUTDOWN_AACTION1_ID", "SHUTDOWN_AACTION2_ID", "SHUTDOWN_AACTION3_ID", "SHUTDOWN_AACTION4_ID"},
        kind.actions.after);
    add_row("SHUTDOWN_AFTER_ID", after_);

    CheckStruct = {.components = entries_.data(),
                   .first = 0,
                   .last = static_cast<std::int32_t>(entries_.size()) - 1,
                   .source = &mark_};

    buttons_ = dialog_.ok_cancel();
    dialog_.add({buttons_.ok, buttons_.cancel});
    newtGrid outer = dialog_.grid(
        1, 3,
        {{0, 0, check, kLeft}, {0, 1, settings, kTop, {.top = 1}}, {0, 2, buttons_.row, kTop, {.top = 1}}});
    dialog_.open(outer, text(kind.title), {15});
}

void HangDialog::run_until(const std::function<bool()>& on_ok) {
    dialog_.run_until(buttons_, on_ok);
}

std::uint32_t HangDialog::seconds(std::size_t field) const {
    return static_cast<std::uint32_t>(entry_number(entries_[field]));
}

HangActions HangDialog::actions() const {
    return {.when = static_cast<int>(current_row(when_)), .after = static_cast<int>(current_row(after_))};
}

}  // namespace zel
