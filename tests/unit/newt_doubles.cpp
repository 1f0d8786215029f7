// SPDX-License-Identifier: GPL-3.0-or-later
#include "newt_doubles.h"

#include <algorithm>

namespace zel::test {
namespace {

NewtDoubles* doubles = nullptr;

void run_form(newtComponent /*form*/, newtExitStruct* result) {
    if (doubles->answers.empty()) std::abort();  // a loop that the test did not foresee
    newtComponent answer = doubles->answers.front()();
    doubles->answers.pop_front();
    result->reason =
        answer != nullptr ? newtExitStruct::NEWT_EXIT_COMPONENT : newtExitStruct::NEWT_EXIT_HOTKEY;
    if (answer != nullptr) result->u.co = answer;
}

void set_flags(newtComponent component, int flags, newtFlagsSense sense) {
    if ((flags & NEWT_FLAG_DISABLED) != 0) component->disabled = sense == NEWT_FLAGS_SET;
}

}  // namespace

NewtDoubles::NewtDoubles() {
    doubles = this;
    newt = {};
    newt.newtForm = [](newtComponent, void*, int) { return doubles->make("form", ""); };
    newt.newtLabel = [](int, int, const char* text) { return doubles->make("label", text); };
    newt.newtButton = [](int, int, const char* text) { return doubles->make("button", text); };
    newt.newtTextbox = [](int, int, int, int height, int) { return doubles->make("textbox", "", height); };
    newt.newtTextboxSetText = [](newtComponent box, const char* text) { box->text = text; };
    newt.newtCreateGrid = [](int, int) { return &doubles->grids.emplace_back(); };
    newt.newtGridSetField = [](newtGrid, int, int, newtGridElement, void*, int, int, int, int, int, int) {};
    newt.newtGridFree = [](newtGrid, int) {};
    newt.newtFormAddComponent = [](newtComponent, newtComponent) {};
    newt.newtFormAddHotKey = [](newtComponent, int) {};
    newt.newtGridWrappedWindow = [](newtGrid, char*) {};
    newt.newtFormRun = run_form;
    newt.newtPopWindow = [] {};
    newt.newtFormDestroy = newt.newtComponentDestroy = [](newtComponent) {};
    newt.newtCursorOff = [] {};
    newt.newtEntryGetValue = [](newtComponent entry) { return entry->text.data(); };
    newt.newtEntrySet = [](newtComponent entry, const char* text, int) { entry->text = text; };
    newt.newtEntrySetFlags = newt.newtCheckboxSetFlags = set_flags;
}

newtComponent NewtDoubles::make(const char* kind, const char* text, int height) {
    components.push_back(std::make_unique<newtComponent_struct>(
        newtComponent_struct{.kind = kind, .text = text, .height = height}));
    return components.back().get();
}

newtComponent NewtDoubles::find(const std::string& kind, const std::string& text) const {
    return std::ranges::find_if(components,
                                [&](const auto& each) { return each->kind == kind && each->text == text; })
        ->get();
}

}  // namespace zel::test
