// SPDX-License-Identifier: GPL-3.0-or-later
// Trace log, environment and what the tool probes before it opens the screen: the service, the kind of
// server, SMBIOS ("smbios.chassis=17,FE": the code of each chassis) and the hardware's model
// ("hwid.model=679"). "no.rights=1": what fails does so for this user only.
#include <strings.h>
#include <zel/access_monitor.h>
#include <zel/smbios.h>
#include <zel/tracelog.h>
#include <zel/win32.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "script.h"

namespace {

using scripted::call;
using scripted::hex;

std::string agent_directory() {
    const auto scripted_directory = scripted::parts("ZelDir");
    return scripted_directory.empty() ? std::getenv("ZelDir") : scripted_directory[0];
}

int fill_hardware_id(HwIdRecord* record, const char* name) {
    const auto model = scripted::parts("hwid.model");
    record->modelNumber = model.empty() ? 1 : std::strtoll(model[0].c_str(), nullptr, 0);
    return call(name, 1);
}

/// A call that leaves in errno why it failed.
int call_with_reason(const char* name) {
    const int result = call(name, 0);
    errno = scripted::parts("no.rights").empty() ? ENOENT : EACCES;
    return result;
}

int32_t smbios_initialise() {
    return call("smbios.initialise", 0);
}

void smbios_close() {
    call("smbios.close", 0);
}

int32_t smbios_request(uint32_t code, void* record) {
    const auto chassis = scripted::parts("smbios.chassis");
    if (code == GET_STRUCTURE_NUMBER) {
        auto* count = static_cast<SmbiosCountRequest*>(record);
        count->number = static_cast<uint16_t>(chassis.size());
        return call("smbios.count", 0, hex(code), count->type);
    }
    auto* structure = static_cast<SmbiosStructRequest*>(record);
    const uint16_t number = structure->number;
    if (number < chassis.size()) std::memcpy(structure->code, chassis[number].data(), sizeof structure->code);
    return call("smbios.structure", 0, hex(code), structure->type, number);
}

}  // namespace

int TraceLogInit(int a, const char* program, int b, int c, int d) {
    return call("TraceLogInit", 0, a, program, b, c, d);
}

void TraceLogSetThrName(const char* name) {
    call("TraceLogSetThrName", 0, name);
}

void TraceLog(int level, const char* module, const char* function, int /*line*/, const char* format, ...) {
    std::array<char, 2048> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    scripted::note("trace", std::to_string(level) + "|" + module + "|" + function + "|" + text.data());
}

int call_zel_is_ft() {
    return call_with_reason("call_zel_is_ft");
}

int CheckNTserverReady() {
    return call_with_reason("CheckNTserverReady");
}

int GetQudHwidFor38(HwIdRecord* record) {
    return fill_hardware_id(record, "GetQudHwidFor38");
}

int GetHWIDFromProc(HwIdRecord* record) {
    return fill_hardware_id(record, "GetHWIDFromProc");
}

int GetZelRootPath(char* buffer, int size) {
    const int result = call("GetZelRootPath", 1, size);
    std::snprintf(buffer, static_cast<std::size_t>(size), "%s", result != 0 ? agent_directory().c_str() : "");
    return result;
}

uint32_t ExpandEnvironmentStrings(const char* src, char* dst, uint32_t size) {
    const std::string value = std::strcmp(src, "%ZelDir%") == 0 ? agent_directory() : src;
    std::snprintf(dst, size, "%s", value.c_str());
    return call("ExpandEnvironmentStrings", static_cast<uint32_t>(value.size() + 1), src, size);
}

int _memicmp(const void* a, const void* b, size_t n) {
    return strncasecmp(static_cast<const char*>(a), static_cast<const char*>(b), n);
}

int load_libzelsmbios(SmbiosTable* table) {
    const int result = call("load_libzelsmbios", 1);
    if (result == 1) *table = {nullptr, smbios_initialise, smbios_close, smbios_request};
    return result;
}

void destroy_libzelsmbios(SmbiosTable* table) {
    call("destroy_libzelsmbios", 0);
    *table = {};
}
