// SPDX-License-Identifier: GPL-3.0-or-later
#include "screen.h"

#include <agntconf/columns.h>
#include <agntconf/newtlib.h>
#include <agntconf/readstrfile.h>
#include <zel/trace.h>

#include <cstdio>

#include "../common/repaint.h"
#include "../common/terminal.h"

namespace zel {

namespace {

constexpr char kModule[] = "main";
constexpr std::size_t kRootTextSize = 88;
constexpr int kActiveListboxObject = 14;

// newt's interface takes char*, but only reads the names.
char* colour(const char* name) {
    return const_cast<char*>(name);
}

const newtColors myColors = {
    .rootFg = colour("white"),
    .rootBg = colour("black"),
    .borderFg = colour("black"),
    .borderBg = colour("lightgray"),
    .windowFg = colour("yellow"),
    .windowBg = colour("lightgray"),
    .shadowFg = colour("yellow"),
    .shadowBg = colour("black"),
    .titleFg = colour("yellow"),
    .titleBg = colour("blue"),
    .buttonFg = colour("yellow"),
    .buttonBg = colour("blue"),
    .actButtonFg = colour("black"),
    .actButtonBg = colour("brown"),
    .checkboxFg = colour("blue"),
    .checkboxBg = colour("lightgray"),
    .actCheckboxFg = colour("black"),
    .actCheckboxBg = colour("brown"),
    .entryFg = colour("lightgray"),
    .entryBg = colour("blue"),
    .labelFg = colour("black"),
    .labelBg = colour("lightgray"),
    .listboxFg = colour("white"),
    .listboxBg = colour("blue"),
    .actListboxFg = colour("black"),
    .actListboxBg = colour("brown"),
    .textboxFg = colour("blue"),
    .textboxBg = colour("lightgray"),
    .actTextboxFg = colour("yellow"),
    .actTextboxBg = colour("blue"),
    .helpLineFg = colour("gray"),
    .helpLineBg = colour("lightgray"),
    .rootTextFg = colour("yellow"),
    .rootTextBg = colour("black"),
    .emptyScale = colour("white"),
    .fullScale = colour("blue"),
    .disabledEntryFg = colour("gray"),
    .disabledEntryBg = colour("lightgray"),
    .compactButtonFg = colour("black"),
    .compactButtonBg = colour("brown"),
    .actSelListboxFg = nullptr,
    .actSelListboxBg = nullptr,
    .selListboxFg = nullptr,
    .selListboxBg = nullptr,
};

/// Sets the colours but for the two list box sets without names: those stay as newt has them, where S-Lang
/// would take the colours of the environment's COLORFGBG for a missing name.
void set_colours() {
    const auto selected_and_active = slang.SLtt_get_color_object(NEWT_COLORSET_ACTSELLISTBOX);
    const auto selected = slang.SLtt_get_color_object(NEWT_COLORSET_SELLISTBOX);
    newt.newtSetColors(myColors);
    slang.SLtt_set_color_object(NEWT_COLORSET_ACTSELLISTBOX, selected_and_active);
    slang.SLtt_set_color_object(NEWT_COLORSET_SELLISTBOX, selected);
}

}  // namespace

void NewtStartUp(void (*let_go)()) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    terminal_remember(let_go);
    if (newt.newtInit() != 0) {
        std::fputs("ZELagntconf: the terminal cannot be opened.\n", stderr);
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<newtInit() failed.exit(0).");
        end_process();
    }
    terminal_arm();
    set_colours();
    newt.newtCls();
    newt.newtPushHelpLine(printable(text("MAIN_HELPLINE_ID")).c_str());
    const std::string root_text = format_text(text("MAIN_ROOTTEXT_ID"), {}, kRootTextSize - 1);
    newt.newtDrawRootText(0, 0, printable(root_text).c_str());
    repaint_arm();
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void use_cpu_list_colours(bool cpu) {
    slang.SLtt_set_color(kActiveListboxObject, "", cpu ? "lightgray" : myColors.actListboxFg,
                         cpu ? "blue" : myColors.actListboxBg);
}

}  // namespace zel
