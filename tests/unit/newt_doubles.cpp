// SPDX-License-Identifier: GPL-3.0-or-later
#include "newt_doubles.h"

#include <algorithm>

namespace zel::test {

NewtDoubles* doubles = nullptr;

namespace {

void note(const std::string& call) {
    doubles->calls.push_back(call);
}

std::string name_of(newtGridElement kind, void* content) {
    if (kind == NEWT_GRID_SUBGRID) return "grid";
    const auto* component = static_cast<newtComponent>(content);
    return component->kind + " " + component->text;
}

void set_field(newtGrid, int column, int row, newtGridElement kind, void* content, int, int top, int, int,
               int anchor, int) {
    note("cell " + std::to_string(column) + "," + std::to_string(row) + " " + name_of(kind, content) +
         (top != 0 ? " top=" + std::to_string(top) : "") + (anchor == NEWT_ANCHOR_TOP ? " ^" : " <"));
}

void run_form(newtComponent form, newtExitStruct* result) {
    result->reason = newtExitStruct::NEWT_EXIT_HOTKEY;
    result->u.key = 15;
    if (doubles->answers.empty()) std::abort();  // a loop that the test did not foresee
    newtComponent answer = doubles->answers.front()();
    doubles->answers.pop_front();
    note(answer != nullptr ? "run: " + answer->text : "run: hot key");
    if (answer == nullptr) return;
    if (answer == form) {
        result->u.key = (NEWT_KEY_F12);
        return;
    }
    result->reason = newtExitStruct::NEWT_EXIT_COMPONENT;
    result->u.co = answer;
}

void set_flags(newtComponent component, int flags, newtFlagsSense sense) {
    if ((flags & NEWT_FLAG_DISABLED) != 0) component->disabled = sense == NEWT_FLAGS_SET;
}

NewtTable table() {
    NewtTable t;
    t.newtForm = [](newtComponent, void*, int) { return doubles->make("form", "form"); };
    t.newtLabel = [](int, int, const char* text) { return doubles->make("label", text); };
    t.newtButton = [](int, int, const char* text) { return doubles->make("button", text); };
    t.newtTextbox = [](int, int, int width, int height, int) {
        return doubles->make("textbox", "", width, height);
    };
    t.newtTextboxSetText = [](newtComponent box, const char* text) { box->text = text; };
    t.newtCreateGrid = [](int columns, int rows) {
        note("grid " + std::to_string(columns) + "x" + std::to_string(rows));
        return &doubles->grids.emplace_back();
    };
    t.newtGridSetField = set_field;
    t.newtGridFree = [](newtGrid, int) {};
    t.newtFormAddComponent = [](newtComponent, newtComponent component) { note("add " + component->text); };
    t.newtFormAddHotKey = [](newtComponent, int key) { note("hotkey " + std::to_string(key)); };
    t.newtGridWrappedWindow = [](newtGrid, char* title) { note("window " + std::string(title)); };
    t.newtFormRun = run_form;
    t.newtPopWindow = [] { note("pop"); };
    t.newtFormDestroy = [](newtComponent form) {
        form->destroyed = true;
        note("destroy");
    };
    t.newtComponentDestroy = [](newtComponent component) { component->destroyed = true; };
    t.newtCursorOff = [] {};
    t.newtEntryGetValue = [](newtComponent entry) { return entry->text.data(); };
    t.newtEntrySet = [](newtComponent entry, const char* text, int) { entry->text = text; };
    t.newtRadioGetCurrent = [](newtComponent) { return doubles->radio; };
    t.newtEntrySetFlags = set_flags;
    t.newtCheckboxSetFlags = set_flags;
    return t;
}

}  // namespace

NewtDoubles::NewtDoubles() {
    doubles = this;
    newt = table();
}

NewtDoubles::~NewtDoubles() {
    newt = {};
    doubles = nullptr;
}

newtComponent NewtDoubles::make(const char* kind, const char* text, int width, int height) {
    components.push_back(std::make_unique<newtComponent_struct>(
        newtComponent_struct{.kind = kind, .text = text, .width = width, .height = height}));
    return components.back().get();
}

newtComponent NewtDoubles::find(const std::string& kind, const std::string& text) const {
    const auto found = std::find_if(components.rbegin(), components.rend(), [&](const auto& component) {
        return component->kind == kind && component->text == text;
    });
    return found != components.rend() ? found->get() : nullptr;
}

}  // namespace zel::test
