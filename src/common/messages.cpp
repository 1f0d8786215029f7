// SPDX-License-Identifier: GPL-3.0-or-later
#include "messages.h"

#include "msgwindow.h"
#include "readstrfile.h"

namespace zel {

namespace {
constexpr char kOk[] = " ok ";
}

void show_message(const char* title_identifier, const std::string& message) {
    msgWindow(text(title_identifier).c_str(), kOk, message.c_str());
}

void show_error(const std::string& message) {
    msgWindow("Error", kOk, message.c_str());
}

std::string show_call_failed(std::string_view call) {
    std::string message = format_text(text("FUNC_CALL_ERR"), {call});
    show_error(message);
    return message;
}

}  // namespace zel
