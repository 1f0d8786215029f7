// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/dialog.h>
#include <agntconf/msgwindow.h>
#include <zel/trace.h>

#include <algorithm>
#include <cstring>
#include <span>

namespace zel {

namespace {

constexpr char kModule[] = "msgwindow";
constexpr int kWrapWidth = 60;
constexpr int kQuestionRows = 3;

void run_message(Dialog& dialog, newtComponent message, const char* title, const char* button_text) {
    newtComponent button = dialog.button(button_text);
    newtGrid message_grid = dialog.grid(1, 1, {{0, 0, message, kTop}});
    newtGrid button_grid = dialog.grid(1, 1, {{0, 0, button, kTop}});
    newtGrid outer = dialog.grid(1, 2, {{0, 0, message_grid, kTop}, {0, 1, button_grid, kTop, {.top = 1}}});
    dialog.add({message, button});
    dialog.open(outer, title, {1, 15});
    while (dialog.run() != button) {
    }
}

newtComponent run_question(Dialog& dialog, newtComponent question, const char* title,
                           std::span<newtComponent> buttons) {
    const int columns = std::max<int>(1, static_cast<int>(buttons.size()));
    newtGrid grid = dialog.grid(columns, 2, {{0, 0, question}});
    dialog.add({question});
    int column = 0;
    for (newtComponent button : buttons) {
        dialog.place(grid, {column++, 1, button, kLeft, {.top = 1}});
        dialog.add({button});
    }
    dialog.open(grid, title != nullptr ? title : " ", {15});
    return dialog.run();
}

std::span<newtComponent> as_span(newtComponent buttons[], std::int32_t count) {
    return {buttons, count > 0 ? static_cast<std::size_t>(count) : 0};
}

}  // namespace

void msgWindow(const char* title, const char* buttonText, const char* text) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    Dialog dialog;
    run_message(dialog, dialog.label(text), title, buttonText);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void msgWindowEx(const char* title, const char* buttonText, const char* text) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    Dialog dialog;
    const int height = static_cast<int>(std::strlen(text)) / kWrapWidth + 1;
    run_message(dialog, dialog.textbox(kWrapWidth, height, text), title, buttonText);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

newtComponent SelectFromButtons(const char* title, const char* text, newtComponent buttons[],
                                std::int32_t count) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    Dialog dialog;
    newtComponent answer =
        run_question(dialog, dialog.label(text != nullptr ? text : "  "), title, as_span(buttons, count));
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
    return answer;
}

newtComponent SelectFromButtonsEx(const char* title, const char* text, newtComponent buttons[],
                                  std::int32_t count) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    Dialog dialog;
    newtComponent question =
        text != nullptr ? dialog.textbox(kWrapWidth, kQuestionRows, text) : dialog.label("  ");
    newtComponent answer = run_question(dialog, question, title, as_span(buttons, count));
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
    return answer;
}

}  // namespace zel
