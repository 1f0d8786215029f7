// SPDX-License-Identifier: GPL-3.0-or-later
#include "moval_ipmi.h"

#include <agntconf/columns.h>
#include <agntconf/dialog.h>
#include <agntconf/messages.h>
#include <agntconf/msgwindow.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/access_control.h>
#include <zel/trace.h>

#include <array>
#include <cstdlib>
#include <string>

namespace zel {

namespace {

constexpr char kModule[] = "moval_ipmi";
constexpr char kPanel[] = "MOVALPanel_IPMI";
constexpr int kNotInstalled = 0;
/// Of the texts that tell that the state cannot be read, and of their title.
constexpr std::size_t kTextBytes = 99;

struct Widgets {
    OkCancel buttons;
    char boot_mode = kCleared;
    char reboot_now = kCleared;
};

bool read_state(int& install_status, int& mode) {
    install_status = GetInstallStatus();
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "GetInstallStatus() return %d.", install_status);
    if (install_status == -1) {
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "<%s",
                     show_call_failed("GetInstallStatus", kTextBytes).c_str());
        return false;
    }
    if (GetUtlBootMode(&mode) == 0) {
        const std::string title(cut_bytes(text("TITTLE_MOVAL_ID"), kTextBytes));
        const std::string message(cut_bytes(text("MOVALERR_GET_ID"), kTextBytes));
        show_titled(title.c_str(), message);
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "<%s", message.c_str());
        return false;
    }
    return true;
}

void build(Dialog& dialog, bool installed, int mode, Widgets& widgets) {
    newtComponent label = dialog.label(text("MOVAL_OFFLINE_ID"));
    newtComponent boot_mode = dialog.checkbox(text("MOVAL_CHECK1_ID"), mode == MOVAL_MODE_ON,
                                              &widgets.boot_mode, {.disabled = !installed});
    newtComponent reboot_now =
        dialog.checkbox(text("MOVAL_CHECK2_ID"), false, &widgets.reboot_now, {.disabled = !installed});
    widgets.buttons = dialog.ok_cancel({});

    newtGrid outer = dialog.grid(1, 4,
                                 {{0, 0, label, kLeft},
                                  {0, 1, boot_mode, kLeft, {.top = 1}},
                                  {0, 2, reboot_now, kLeft},
                                  {0, 3, widgets.buttons.row, kTop, {.top = 1}}});
    dialog.add({label, boot_mode, reboot_now, widgets.buttons.ok, widgets.buttons.cancel});
    dialog.open(outer, text("TITTLE_MOVAL_ID"), {15, 1});
}

bool set_mode(int mode, int flag, const char* failure) {
    if (MOVALSetMode(mode, flag) == 0) return true;
    show_message("TITTLE_MOVAL_ID", text("MOVALERR_SET_ID"));
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "%s", failure);
    return false;
}

bool is_reboot_confirmed(Dialog& dialog) {
    // The question takes the buttons over and frees them.
    std::array<newtComponent, 2> buttons = {dialog.lend(dialog.button(text("BUTTON_OK_ID"))),
                                            dialog.lend(dialog.button(text("BUTTON_CANCEL_ID")))};
    newtComponent confirm = buttons[0];
    const std::string title = text("MOVALWARN_REBOOT_ID");
    const std::string question = text("MOVAL_REBOOTNOW_ID");
    return SelectFromButtons(title.c_str(), question.c_str(), buttons.data(), 2) == confirm;
}

void reboot() {
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "system reboot...");
    // A fixed command, and the one that administrators know; the panel stays open should it fail.
    (void)!std::system("reboot");  // NOLINT(cert-env33-c,concurrency-mt-unsafe)
}

/// Sets the mode that the boxes ask for. True when the panel may close.
bool apply(Dialog& dialog, const Widgets& widgets) {
    if (widgets.reboot_now == kMarked) {
        if (!is_reboot_confirmed(dialog)) return set_mode(MOVAL_MODE_ON, 1, "MOVALSetMode() failed.");
        if (set_mode(MOVAL_MODE_ON_REBOOT, 1, "MOVALSetMode() failed.")) reboot();
        return false;
    }
    if (widgets.boot_mode == kMarked) return set_mode(MOVAL_MODE_ON, 1, "MOVALSetMode() failed.");
    return set_mode(MOVAL_MODE_OFF, 0, "MOVALSetMode failed.");
}

}  // namespace

void MOVALPanel_IPMI() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    int install_status = 0;
    int mode = 0;
    if (!read_state(install_status, mode)) return;
    const bool installed = install_status != kNotInstalled;
    {
        Widgets widgets;
        Dialog dialog;
        build(dialog, installed, mode, widgets);
        dialog.run_until(
            widgets.buttons, [&] { return !installed || apply(dialog, widgets); }, OnHotKey::run_again);
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
