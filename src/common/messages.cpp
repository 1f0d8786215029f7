// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/columns.h>
#include <agntconf/messages.h>
#include <agntconf/msgwindow.h>
#include <agntconf/newtlib.h>

namespace zel {

namespace {
constexpr char kOk[] = " ok ";
}

void show_message(const char* title_identifier, const std::string& message) {
    show_titled(text(title_identifier).c_str(), message);
}

void show_titled(const char* title, const std::string& message) {
    msgWindow(title, kOk, message.c_str());
}

void show_error(const std::string& message) {
    show_titled("Error", message);
}

std::string show_call_failed(std::string_view call, std::size_t limit) {
    std::string message = format_text(text("FUNC_CALL_ERR"), {call}, limit);
    show_error(message);
    return message;
}

BusyLine::BusyLine(const char* identifier) {
    const std::string line = text(identifier);
    shown_ = line != kMissingText;
    if (!shown_) return;
    newt.newtPushHelpLine(printable(line).c_str());
    newt.newtRefresh();
}

BusyLine::~BusyLine() {
    if (shown_) newt.newtPopHelpLine();
}

}  // namespace zel
