// SPDX-License-Identifier: GPL-3.0-or-later
#include "menu.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/trace.h>

#include <string>
#include <vector>

#include "panel_table.h"

namespace zel {

namespace {

constexpr char kModule[] = "main";
constexpr int kLabelColumns = 40;
constexpr int kRowsInSight = 5;

using TabNames = std::vector<std::string>;

/// The rows' labels, all of one width.
TabNames read_tab_names(const MenuFacts& facts) {
    TabNames tabNames;
    for (const char* label : menu_labels(facts))
        tabNames.push_back(fit(label != nullptr ? text(label) : "", kLabelColumns));
    return tabNames;
}

void run_menu(const MenuFacts& facts) {
    const TabNames tabNames = read_tab_names(facts);
    Dialog dialog;
    newtComponent list = dialog.list(
        numbered(tabNames), {.height = kRowsInSight, .flags = NEWT_FLAG_RETURNEXIT | NEWT_FLAG_SCROLL});
    newtComponent close = dialog.button(text("BUTTON_CLOSE_ID"));
    newtGrid grid = dialog.grid(1, 2, {{0, 0, list, kTop}, {0, 1, close, kTop, {.top = 1}}});
    dialog.add({list, close});
    dialog.open(grid, text("TITTLE_MAIN_ID"), {1, 15});
    for (;;) {
        newtComponent answer = dialog.run();
        if (answer == close || answer == nullptr) return;
        const OpenPanel open = panel_of_row(facts, static_cast<std::uint32_t>(current_row(list)));
        if (open != nullptr) open();
    }
}

}  // namespace

void EditParameter(std::int32_t iShowVoltFlag, std::int32_t iShowTempFlag, std::int32_t iShowMovalFlag,
                   std::int32_t TABTOTAONUM) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">iShowVoltFlag=%d,iShowTempFlag=%d,iShowMovalFlag=%d,TABTOTAONUM=%d.",
              iShowVoltFlag, iShowTempFlag, iShowMovalFlag, TABTOTAONUM);
    MenuFacts facts = menu_facts(iShowVoltFlag, iShowTempFlag, iShowMovalFlag);
    facts.rows = TABTOTAONUM;
    run_menu(facts);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
