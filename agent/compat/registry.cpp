// SPDX-License-Identifier: GPL-3.0-or-later
#include "store/registry.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "handles.h"
#include "settings/change_log.h"
#include "zel/win32.h"

namespace {

using zel::store::Status;
namespace registry = zel::store::registry;

constexpr std::uint32_t kLargestValue = 1U << 20U;

/// An open key is the path of it.
using Key = const std::string;

std::optional<std::string> path_of(HKEY key) {
    if (key == HKEY_LOCAL_MACHINE) return std::string();
    const auto found = zel::compat::handles<Key>().find(key);
    return found ? std::optional(*found) : std::nullopt;
}

std::optional<std::string> path_below(HKEY root, const char* path) {
    std::optional<std::string> joined = path_of(root);
    if (joined) joined->append("/").append(path == nullptr ? "" : path);
    return joined;
}

HKEY open_key(const std::string& path) {
    return zel::compat::handles<Key>().add(std::make_shared<Key>(path));
}

std::int32_t read_result(Status status) {
    if (status == Status::ok) return ERROR_SUCCESS;
    return status == Status::failed && errno == EACCES ? ERROR_ACCESS_DENIED : ERROR_BADDB;
}

/// Why something was not found in the registry.
std::int32_t missing() {
    const std::int32_t result = read_result(registry::check());
    return result == ERROR_SUCCESS ? ERROR_FILE_NOT_FOUND : result;
}

std::int32_t write_result(Status status) {
    if (status == Status::ok) return ERROR_SUCCESS;
    if (errno == EINVAL) return ERROR_INVALID_PARAMETER;
    return errno == EACCES || errno == EPERM ? ERROR_ACCESS_DENIED : ERROR_WRITE_FAULT;
}

/// Type and bytes of a value; the bytes stay the value's.
struct Plain {
    std::uint32_t type;
    std::span<const std::byte> bytes;
};

struct ToPlain {
    Plain operator()(const std::uint32_t& number) const {
        return {REG_DWORD, std::as_bytes(std::span(&number, 1))};
    }
    Plain operator()(const std::string& text) const {
        return {REG_SZ, std::as_bytes(std::span(text.c_str(), text.size() + 1))};
    }
    Plain operator()(const registry::Binary& bytes) const {
        return {REG_BINARY, std::as_bytes(std::span(bytes))};
    }
};

std::optional<registry::Value> to_value(std::uint32_t type, std::span<const std::uint8_t> bytes) {
    if (type == REG_BINARY) return registry::Binary(bytes.begin(), bytes.end());
    if (type == REG_SZ) return std::string(bytes.begin(), std::ranges::find(bytes, 0));
    std::uint32_t number = 0;
    if (type != REG_DWORD || bytes.size() != sizeof number) return std::nullopt;
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

}  // namespace

int32_t RegOpenKeyEx(HKEY root, const char* path, uint32_t /*options*/, uint32_t /*access*/, HKEY* out) try {
    if (out == nullptr) return ERROR_INVALID_PARAMETER;
    const std::optional<std::string> full = path_below(root, path);
    if (!full) return ERROR_INVALID_HANDLE;
    if (const std::int32_t result = read_result(registry::check()); result != ERROR_SUCCESS) return result;
    if (!registry::key_exists(*full)) return missing();
    *out = open_key(*full);
    return ERROR_SUCCESS;
} catch (...) {
    return ERROR_BADDB;
}

int32_t RegQueryValueEx(HKEY key, const char* name, uint32_t* /*reserved*/, uint32_t* type, uint8_t* data,
                        uint32_t* size) try {
    if (name == nullptr || (data != nullptr && size == nullptr)) return ERROR_INVALID_PARAMETER;
    const std::optional<std::string> path = path_of(key);
    if (!path) return ERROR_INVALID_HANDLE;
    const std::optional<registry::Value> value = registry::get(*path, name);
    if (!value) return missing();

    const Plain plain = std::visit(ToPlain{}, *value);
    const std::uint32_t room = size == nullptr ? 0 : *size;
    if (type != nullptr) *type = plain.type;
    if (size != nullptr) *size = static_cast<std::uint32_t>(plain.bytes.size());
    if (data == nullptr) return ERROR_SUCCESS;
    if (plain.bytes.size() > room) return ERROR_MORE_DATA;
    std::ranges::copy(plain.bytes, reinterpret_cast<std::byte*>(data));
    return ERROR_SUCCESS;
} catch (...) {
    return ERROR_BADDB;
}

int32_t RegCreateKeyEx(HKEY root, const char* path, uint32_t /*reserved*/, const char* /*cls*/,
                       uint32_t /*options*/, uint32_t /*access*/, void* /*security*/, HKEY* out,
                       uint32_t* disposition) try {
    if (out == nullptr) return ERROR_INVALID_PARAMETER;
    const std::optional<std::string> full = path_below(root, path);
    if (!full) return ERROR_INVALID_HANDLE;
    const bool existed = registry::key_exists(*full);
    if (!existed) {
        const std::int32_t result = write_result(registry::create_key(*full));
        if (result != ERROR_SUCCESS) return result;
    }
    *out = open_key(*full);
    if (disposition != nullptr) *disposition = existed ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY;
    return ERROR_SUCCESS;
} catch (...) {
    return ERROR_WRITE_FAULT;
}

int32_t RegSetValueEx(HKEY key, const char* name, uint32_t /*reserved*/, uint32_t type, const uint8_t* data,
                      uint32_t size) try {
    if (name == nullptr || (data == nullptr && size != 0) || size > kLargestValue) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::optional<std::string> path = path_of(key);
    if (!path) return ERROR_INVALID_HANDLE;
    const std::optional<registry::Value> value = to_value(type, {data, size});
    if (!value) return ERROR_INVALID_PARAMETER;
    const registry::Entry entry{.name = name, .value = *value};
    std::vector<zel::store::KeyFile::Change> changes;
    const std::int32_t result = write_result(registry::set(*path, {&entry, 1}, &changes));
    zel::settings::log_registry_changes(changes);
    return result;
} catch (...) {
    return ERROR_WRITE_FAULT;
}

int32_t RegCloseKey(HKEY key) try {
    if (key == HKEY_LOCAL_MACHINE) return ERROR_SUCCESS;
    return zel::compat::handles<Key>().remove(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
} catch (...) {
    return ERROR_INVALID_HANDLE;
}
