// SPDX-License-Identifier: GPL-3.0-or-later
// What the tool's shell offers and no panel uses, one after the other; the last message tells what came of it.
#include <agntconf/dialog.h>
#include <agntconf/msgwindow.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>

#include <array>
#include <string>

#include "../../src/main/common_ctl.h"
#include "../../src/main/screen.h"

int main() {
    std::string catalogue =
        "[MAIN_HELPLINE_ID]=\"help\"\n[MAIN_ROOTTEXT_ID]=\"root\"\n" + std::string(1024, '\0');
    zel::ZEL_RcFileBuf = catalogue.data();
    if (zel::initnewtlib() != 0 || zel::initslanglib() != 0) return 1;
    zel::NewtStartUp([] {});
    for (const std::size_t length : {59U, 60U, 120U})
        zel::msgWindowEx("Long", " ok ", std::string(length, 'x').c_str());
    std::string results = "model " + std::to_string(zel::CheckHwIdInfo(4));
    for (const char* question : {"Which one of the two?", static_cast<const char*>(nullptr)}) {
        std::array buttons = {zel::newt.newtButton(-1, -1, "one"), zel::newt.newtButton(-1, -1, "two")};
        const bool second = zel::SelectFromButtonsEx(nullptr, question, buttons.data(), 2) == buttons[1];
        results += second ? " two" : " one";
    }
    {
        zel::Dialog dialog;
        std::array marks = {' ', ' ', ' '};
        std::array boxes = {dialog.checkbox("first", false, &marks[1]),
                            dialog.checkbox("last", false, &marks[2])};
        zel::CheckboxStruct = {.components = boxes.data(), .first = 0, .last = 1, .source = marks.data()};
        newtComponent all = dialog.checkbox("all", false, marks.data(), {.on_change = zel::CheckBoxFunc});
        dialog.add({all, boxes[0], boxes[1]});
        dialog.open(dialog.grid(1, 3, {{0, 0, all}, {0, 1, boxes[0]}, {0, 2, boxes[1]}}), "Boxes", {15});
        zel::CheckBoxFunc(nullptr, nullptr);
        dialog.run();
        results += std::string(" marks ") + marks[0] + marks[1] + marks[2];
    }
    zel::msgWindow("Results", " ok ", results.c_str());
    zel::newt.newtFinished();
}
