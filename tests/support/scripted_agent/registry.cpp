// SPDX-License-Identifier: GPL-3.0-or-later
// Registry. A key exists when the script has a line for it: a value, or "reg KEY=" for a key without values.
#include <zel/win32.h>

#include <algorithm>
#include <cstring>

#include "script.h"

namespace {

using scripted::call;
using scripted::hex;

// Open keys by handle; handle n is entry n - 1. Never closed: a test opens a few dozen.
std::vector<std::string>& open_keys() {
    static auto* const keys = new std::vector<std::string>;
    return *keys;
}

std::string path_of(HKEY key) {
    return open_keys().at(reinterpret_cast<std::uintptr_t>(key) - 1);
}

HKEY new_handle(const char* path) {
    open_keys().emplace_back(path);
    return reinterpret_cast<HKEY>(open_keys().size());
}

bool key_exists(const std::string& path) {
    const auto at = scripted::lines().lower_bound("reg " + path);
    const std::string exact = "reg " + path;
    return at != scripted::lines().end() && (at->first == exact || at->first.starts_with(exact + " "));
}

// The value's bytes as the registry hands them out, and its type; empty for a malformed line.
std::string bytes_of(const std::string& scripted_value, uint32_t& type) {
    if (scripted_value.starts_with("dword:")) {
        type = REG_DWORD;
        const auto number = static_cast<uint32_t>(std::stoul(scripted_value.substr(6), nullptr, 0));
        return {reinterpret_cast<const char*>(&number), sizeof number};
    }
    type = REG_SZ;
    return scripted_value.starts_with("sz:") ? scripted_value.substr(3) + '\0' : "";
}

}  // namespace

int32_t RegOpenKeyEx(HKEY root, const char* path, uint32_t /*options*/, uint32_t access, HKEY* out) {
    const bool exists = root == HKEY_LOCAL_MACHINE && key_exists(path);
    const auto result =
        call("RegOpenKeyEx", exists ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND, "HKLM", path, hex(access));
    if (result == ERROR_SUCCESS) *out = new_handle(path);
    return result;
}

int32_t RegQueryValueEx(HKEY key, const char* name, uint32_t* /*reserved*/, uint32_t* type, uint8_t* data,
                        uint32_t* size) {
    const auto found = scripted::lines().find("reg " + path_of(key) + " " + name);
    const bool exists = found != scripted::lines().end();
    const auto result = call("RegQueryValueEx", exists ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND, name, *size);
    if (result != ERROR_SUCCESS || !exists) return result;
    uint32_t scripted_type = 0;
    const std::string bytes = bytes_of(found->second, scripted_type);
    const bool fits = bytes.size() <= *size;
    *size = static_cast<uint32_t>(bytes.size());
    if (!fits) return ERROR_MORE_DATA;
    if (type != nullptr) *type = scripted_type;
    std::memcpy(data, bytes.data(), bytes.size());
    return ERROR_SUCCESS;
}

int32_t RegCreateKeyEx(HKEY root, const char* path, uint32_t /*reserved*/, const char* /*cls*/,
                       uint32_t /*options*/, uint32_t access, void* /*security*/, HKEY* out,
                       uint32_t* disposition) {
    const auto result =
        call("RegCreateKeyEx", ERROR_SUCCESS, root == HKEY_LOCAL_MACHINE ? "HKLM" : "?", path, hex(access));
    if (result != ERROR_SUCCESS) return result;
    if (disposition != nullptr) *disposition = REG_OPENED_EXISTING_KEY;
    *out = new_handle(path);
    return result;
}

int32_t RegSetValueEx(HKEY key, const char* name, uint32_t /*reserved*/, uint32_t type, const uint8_t* data,
                      uint32_t size) {
    uint32_t number = 0;
    std::memcpy(&number, data, std::min<std::size_t>(size, sizeof number));
    const std::string value = (type == REG_DWORD ? "dword:" : "?:") + std::to_string(number);
    const auto result = call("RegSetValueEx", ERROR_SUCCESS, path_of(key), name, value);
    if (result == ERROR_SUCCESS) scripted::lines()["reg " + path_of(key) + " " + name] = value;
    return result;
}

int32_t RegCloseKey(HKEY key) {
    return call("RegCloseKey", ERROR_SUCCESS, path_of(key));
}
