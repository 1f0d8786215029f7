// SPDX-License-Identifier: GPL-3.0-or-later
// newt and S-Lang, bound at run time through tables of entry points. A server without them gets a clear
// end of the program instead of a loader error.
#pragma once

#define ENABLE_SLFUTURE_CONST 1  // slang.h: colour names are const char*
#include <newt.h>
#include <slang.h>
#undef newtListboxAddEntry  // the two macros of newt.h that look like functions
#undef newtGridDestroy

namespace zel {

// clang-format off
#define ZEL_NEWT_ENTRY_POINTS(X)                                                                        \
    X(newtInit) X(newtFinished) X(newtCls) X(newtRefresh) X(newtSetColors) X(newtCursorOff)             \
    X(newtSuspend) X(newtResume) X(newtGetScreenSize) X(newtRedrawHelpLine)                             \
    X(newtPushHelpLine) X(newtPopHelpLine) X(newtDrawRootText)                                          \
    X(newtForm) X(newtFormAddComponent) X(newtFormAddHotKey) X(newtFormRun) X(newtFormDestroy)          \
    X(newtCreateGrid) X(newtGridSetField) X(newtGridGetSize) X(newtGridWrappedWindow) X(newtGridWrappedWindowAt) X(newtGridFree)                      \
    X(newtPopWindow) X(newtPopWindowNoRefresh)                                                          \
    X(newtButton) X(newtCompactButton) X(newtLabel) X(newtTextbox) X(newtTextboxSetText)                \
    X(newtEntry) X(newtEntrySet) X(newtEntryGetValue) X(newtEntrySetFilter) X(newtEntrySetFlags)        \
    X(newtCheckbox) X(newtCheckboxSetValue) X(newtCheckboxSetFlags)                                     \
    X(newtRadiobutton) X(newtRadioGetCurrent)                                                           \
    X(newtListbox) X(newtListboxAppendEntry) X(newtListboxGetCurrent) X(newtListboxSetCurrent)          \
    X(newtListboxSetWidth) X(newtComponentAddCallback) X(newtComponentDestroy)

#define ZEL_SLANG_ENTRY_POINTS(X)                                                                       \
    X(SLtt_set_color) X(SLtt_get_color_object) X(SLtt_set_color_object)              \
    X(SLtt_tgetstr) X(SLtt_Screen_Rows) X(SLtt_Screen_Cols) X(SLang_Exit_Error_Hook)                    \
    X(SLsmg_reinit_smg) X(SLsmg_gotorc) X(SLsmg_read_raw) X(SLsmg_write_raw)
// clang-format on

// The name is declared, so it cannot stand in parentheses; unevaluated, so nothing is linked.
#define ZEL_TABLE_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses)

/// newt's entry points; all null until `initnewtlib` succeeds.
struct NewtTable {
    ZEL_NEWT_ENTRY_POINTS(ZEL_TABLE_MEMBER)
};

/// S-Lang's entry points; all null until `initslanglib` succeeds.
struct SlangTable {
    ZEL_SLANG_ENTRY_POINTS(ZEL_TABLE_MEMBER)
};

#undef ZEL_TABLE_MEMBER

extern NewtTable newt;
extern SlangTable slang;

/// Binds newt. 0, or -1 with the reason traced and the table empty.
int initnewtlib();
/// Binds S-Lang: the instance that newt draws with. 0, or -1 with the reason traced and the table empty.
int initslanglib();
/// Empties the tables and lets go of the libraries; their code stays mapped, since newt leaves a signal
/// handler behind. Harmless when nothing is bound.
void freenewtlib();
void freeslanglib();

}  // namespace zel
