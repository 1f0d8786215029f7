// SPDX-License-Identifier: GPL-3.0-or-later
#include <string>
#include <vector>

#include "../common/columns.h"
#include "../common/dialog.h"
#include "../common/msgwindow.h"
#include "../common/readstrfile.h"
#include "../common/startup_facts.h"
#include "../common/trace.h"
#include "../common/widgets.h"
#include "../control/blade.h"
#include "../control/general_ipmi.h"
#include "../control/moval_ipmi.h"
#include "../control/shutdown_ipmi.h"
#include "../control/wdt_ipmi.h"
#include "../ipmi/temp_ipmi.h"
#include "../ipmi/voltage_ipmi.h"
#include "../monitor/cpu.h"
#include "../monitor/filesystem.h"
#include "../monitor/lan.h"
#include "../monitor/mylex.h"
#include "../monitor/storage.h"
#include "../monitor/syslog.h"
#include "menu_rows.h"
#include "screen.h"

namespace zel {

namespace {

constexpr char kModule[] = "main";
constexpr int kLabelColumns = 40;
constexpr int kRowsInSight = 5;

void open_cpu_panel() {
    use_cpu_list_colours(true);
    CpuPanel();
    use_cpu_list_colours(false);
}

/// A row beyond the table.
void tell_unsupported() {
    msgWindow("Warning", "Return", "Not Supported yet!");
}

void open_panel(Panel panel) {
    switch (panel) {
        case Panel::none:
            return;
        case Panel::general:
            return GeneralPanel();
        case Panel::cpu:
            return open_cpu_panel();
        case Panel::syslog:
            return SyslogPanel();
        case Panel::storage:
            return StoragePanel(ZelVersion);
        case Panel::filesystem:
            return FilePanel();
        case Panel::lan:
            return LanPanel();
        case Panel::mylex:
            return MylexPanel();
        case Panel::moval:
            return MOVALPanel_IPMI();
        case Panel::temperature:
            return TemperaturePanel_IPMI(ZelVersion);
        case Panel::voltage:
            return VoltagePanel(ZelVersion);
        case Panel::watchdog:
            return WDTPanel();
        case Panel::shutdown:
            return ShutdownPanel();
        case Panel::blade:
            ZEL_TRACE_AS("EditParameter", TRACE_LEVEL_TRACE, "Open  BladePanel()");
            return BladePanel();
        case Panel::unsupported:
            ZEL_TRACE_AS("EditParameter", TRACE_LEVEL_ERROR, "Not Supported.");
            return tell_unsupported();
        case Panel::unsupported_silent:
            return tell_unsupported();
    }
}

using TabNames = std::vector<std::string>;

/// The rows' labels, all of one width.
TabNames read_tab_names(const MenuFacts& facts) {
    TabNames tabNames;
    for (const char* label : menu_labels(facts))
        tabNames.push_back(fit(label != nullptr ? text(label) : "", kLabelColumns));
    return tabNames;
}

newtComponent make_list(Dialog& dialog, const TabNames& tabNames) {
    newtComponent list = dialog.listbox(kRowsInSight, NEWT_FLAG_RETURNEXIT | NEWT_FLAG_SCROLL);
    std::intptr_t row = 0;
    for (const std::string& label : tabNames)
        append_row(list, label, row++);
    newt.newtListboxSetCurrent(list, 0);
    return list;
}

void run_menu(const MenuFacts& facts) {
    const TabNames tabNames = read_tab_names(facts);
    Dialog dialog;
    newtComponent list = make_list(dialog, tabNames);
    newtComponent close = dialog.button(text("BUTTON_CLOSE_ID"));
    newtGrid grid =
        dialog.grid(1, 2, {{0, 0, list, NEWT_ANCHOR_TOP}, {0, 1, close, NEWT_ANCHOR_TOP, {.top = 1}}});
    dialog.add({list, close});
    dialog.open(grid, text("TITTLE_MAIN_ID"), {1, 15});
    for (;;) {
        newtComponent answer = dialog.run();
        if (answer == close || answer == nullptr) return;
        open_panel(panel_of_row(facts, static_cast<std::uint32_t>(current_row(list))));
    }
}

}  // namespace

void EditParameter(std::int32_t iShowVoltFlag, std::int32_t iShowTempFlag, std::int32_t iShowMovalFlag,
                   std::int32_t TABTOTAONUM) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">iShowVoltFlag=%d,iShowTempFlag=%d,iShowMovalFlag=%d,TABTOTAONUM=%d.",
              iShowVoltFlag, iShowTempFlag, iShowMovalFlag, TABTOTAONUM);
    const MenuFacts facts = {
        .show_voltage = iShowVoltFlag,
        .show_temperature = iShowTempFlag,
        .show_moval = iShowMovalFlag,
        .rows = TABTOTAONUM,
        .fault_tolerant = gZelIsFt,
        .nas = iNASFlag,
        .blade = iBladeFlag,
        .shared_sensor_status = GetSharedSensorStatus_Value,
    };
    run_menu(facts);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
