// SPDX-License-Identifier: GPL-3.0-or-later
#include "general_ipmi.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/access_control.h>
#include <zel/trace.h>

#include <array>
#include <string>

#include "chassis_identify.h"
#include "community_list.h"

namespace zel {

namespace {

constexpr char kModule[] = "general_ipmi";
constexpr char kPanel[] = "GeneralPanel";
constexpr int kRackWidth = 8;
constexpr int kCommunityColumns = 50;

// ---- reading the settings

struct Settings {
    std::array<char, RACK_NAME_SIZE> rackName{};
    SnmpFlags snmpFlags{};
    CommunityList communityList;
};

bool registry_failed(const char* trace) {
    show_error(text("HWERR_OPEN_ID"));
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "%s", trace);
    return false;
}

bool read_settings(Settings& settings) {
    if (GetCurrentRackId(settings.rackName.data()) == 1)
        return registry_failed("<GetCurrentRackId() failed.");
    settings.rackName.back() = '\0';
    if (GetSnmpFlagsfromReg(&settings.snmpFlags) == 1)
        return registry_failed("<GetSnmpFlagsfromReg() failed.");
    if (settings.snmpFlags.enable == 0) settings.snmpFlags.permit = 0;
    return settings.communityList.read();
}

// ---- layout

struct Widgets {
    std::array<newtComponent, 2> snmp{};  // enable, permit: `CheckboxStruct`
    newtComponent communities = nullptr;
    newtComponent rack = nullptr;
    newtComponent begin = nullptr;
    newtComponent end = nullptr;
    OkCancel buttons;
    char enableMark = kCleared;
    char permitMark = kCleared;
};

/// The enable box changed: without it the permit box is cleared and greyed.
void CheckBoxFunc1(newtComponent, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const bool disabled = *CheckboxStruct.source == kCleared;
    for (std::int32_t i = CheckboxStruct.first; i <= CheckboxStruct.last; ++i) {
        newtComponent box = CheckboxStruct.components[i];
        if (disabled) set_mark(box, false);
        set_checkbox_disabled(box, disabled);
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void make_snmp_boxes(Dialog& dialog, const SnmpFlags& flags, Widgets& widgets) {
    auto& [enable, permit] = widgets.snmp;
    enable = dialog.checkbox(text("GENERAL_ENABLE_ID"), flags.enable != 0, &widgets.enableMark,
                             {.on_change = CheckBoxFunc1});
    permit = dialog.checkbox(text("GENERAL_PERMIT_ID"), flags.permit != 0, &widgets.permitMark,
                             {.disabled = flags.enable == 0});
    CheckboxStruct = {
        .components = widgets.snmp.data(), .first = 1, .last = 1, .source = &widgets.enableMark};
}

newtComponent make_community_list(Dialog& dialog, const CommunityList& communityList) {
    std::vector<ListRow> rows;
    for (const CommunityNode* node = communityList.head(); node != nullptr; node = node->next)
        rows.push_back({abbreviate(community_name(*node), kCommunityColumns), node->index});
    return dialog.list(rows, {.flags = NEWT_FLAG_RETURNEXIT, .selected = communityList.selectedIndex()});
}

void build(Dialog& dialog, const Settings& settings, Widgets& widgets) {
    make_snmp_boxes(dialog, settings.snmpFlags, widgets);
    newtComponent community_label = dialog.label(text("GENERAL_SNMPC_ID"));
    widgets.communities = make_community_list(dialog, settings.communityList);
    newtComponent rack_label = dialog.label(text("GENERAL_RACK_ID"));
    widgets.rack = dialog.text_entry(settings.rackName.data(), kRackWidth, NEWT_FLAG_SCROLL);
    newtComponent rack_section = dialog.label(text("RACK_MOUNT"));
    newtComponent identify_section = dialog.label(text("DIALOG_DISTINGUISH"));
    newtComponent snmp_section = dialog.label(text("SNMP_SETTING"));
    widgets.buttons = dialog.ok_cancel({.left = 3, .top = 1}, {.left = 3, .top = 1});
    widgets.begin = dialog.compact_button(text("BUTTON_DIALOG_BEGIN"));
    widgets.end = dialog.compact_button(text("BUTTON_DIALOG_END"));

    newtGrid snmp = dialog.grid(1, 3,
                                {{0, 0, snmp_section, kLeft},
                                 {0, 1, widgets.snmp[0], kLeft},
                                 {0, 2, widgets.snmp[1], kLeft, {.left = 1}}});
    newtGrid community =
        dialog.grid(2, 1, {{0, 0, community_label, kLeft}, {1, 0, widgets.communities, kLeft, {.left = 1}}});
    newtGrid rack = dialog.grid(2, 2,
                                {{0, 0, rack_section, kLeft},
                                 {0, 1, rack_label, kTop, {.top = 1}},
                                 {1, 1, widgets.rack, kLeft, {.left = 6, .top = 1}}});
    newtGrid identify = dialog.grid(3, 1,
                                    {{0, 0, identify_section, kLeft},
                                     {1, 0, widgets.begin, kLeft, {.left = 2}},
                                     {2, 0, widgets.end, kLeft, {.left = 1}}});
    newtGrid main_grid = dialog.grid(1, 5,
                                     {{0, 0, snmp, kTop},
                                      {0, 1, community, kLeft, {.top = 1}},
                                      {0, 2, rack, kLeft, {.top = 1}},
                                      {0, 3, identify, kLeft, {.top = 2}},
                                      {0, 4, widgets.buttons.row, kTop, {.top = 2}}});
    dialog.add({snmp_section, widgets.snmp[0], widgets.snmp[1], community_label, widgets.communities,
                rack_section, rack_label, widgets.rack, identify_section, widgets.begin, widgets.end,
                widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(main_grid, text("TITTLE_GENERAL_ID"), {15, 1});
}

// ---- what the buttons do

/// Refuses to leave while the light is lit. True when it was refused.
bool refuse_while_running() {
    if (startstatus != 1) return false;
    show_titled("Notice", "Chassis Identify is still running!");
    return true;
}

/// Writes what the entry holds; as it was read when nobody changed it, for the entry shows "?" in some
/// places.
void write_rack_name(const Widgets& widgets, const std::string& as_read) {
    const std::string entered = entry_string(widgets.rack);
    const std::string rackName(entered == printable(as_read) ? as_read
                                                             : cut_bytes(entered, RACK_NAME_SIZE - 1));
    if (ApplyRackmount(rackName.c_str()) != 1) return;
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "ApplyRackmount failed.");
    show_error(text("HWERR_OPEN_ID"));
}

void write_snmp_flags(const Widgets& widgets) {
    SnmpFlags flags{};
    flags.enable = widgets.enableMark == kMarked ? 1 : 0;
    flags.permit = flags.enable == 1 && widgets.permitMark == kMarked ? 1 : 0;
    SetSnmpFlagstoReg(&flags);
}

/// False, with a message, while the stored name is chosen that the configuration does not hold.
bool write_community(const Widgets& widgets, const CommunityList& communityList) {
    const auto selectedIndex = static_cast<std::int32_t>(current_row(widgets.communities));
    if (communityList.notInConf() && selectedIndex == 0) {
        constexpr char kMessage[] = "The current community name isn't contained in snmpd.conf.";
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "%s", kMessage);
        show_message("TITTLE_GENERAL_ID", kMessage);
        return false;
    }
    communityList.store(selectedIndex);
    return true;
}

/// Writes everything. True when the panel may close.
bool write_settings(const Widgets& widgets, const Settings& settings) {
    if (refuse_while_running()) return false;
    write_rack_name(widgets, settings.rackName.data());
    write_snmp_flags(widgets);
    if (!write_community(widgets, settings.communityList)) return false;
    startstatus = 0;
    return true;
}

/// Acts on what ended the form. True when the panel may close.
bool act(newtComponent answer, const Widgets& widgets, const Settings& settings) {
    if (answer == widgets.buttons.cancel) {
        if (refuse_while_running()) return false;
        startstatus = 0;
        return true;
    }
    if (answer == widgets.begin && startstatus == 0) begin_identify();
    if (answer == widgets.end) end_identify();
    return answer == widgets.buttons.ok && write_settings(widgets, settings);
}

}  // namespace

void GeneralPanel() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    {
        Settings settings;
        if (!read_settings(settings)) return;
        Widgets widgets;
        Dialog dialog;
        build(dialog, settings, widgets);
        for (bool done = false; !done;) {
            newtComponent answer = dialog.run();
            done = answer == nullptr || act(answer, widgets, settings);
        }
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
