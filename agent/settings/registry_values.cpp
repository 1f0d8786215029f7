// SPDX-License-Identifier: GPL-3.0-or-later
#include "registry_values.h"

#include <cerrno>
#include <cstring>
#include <variant>

#include "base/plain_text.h"
#include "zel/tracelog.h"

namespace zel::settings {
namespace {

namespace registry = store::registry;
constexpr const char* kModule = "registry_values";

}  // namespace

bool registry_readable() {
    const bool readable = registry::check() == store::Status::ok;
    if (!readable) TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__, "The registry cannot be read.");
    return readable;
}

std::uint32_t read_number(const char* key, const char* name, Allowed allowed, std::uint32_t fallback) {
    const auto stored = registry::get(key, name);
    if (!stored) return fallback;
    const auto* number = std::get_if<std::uint32_t>(&*stored);
    if (number && allowed(*number)) return *number;
    TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__, "%s %s makes no sense, taken as %u.", key, name,
             fallback);
    return fallback;
}

std::string read_text(const char* key, const char* name, const std::string& fallback) {
    const auto stored = registry::get(key, name);
    if (!stored) return fallback;
    const auto* text = std::get_if<std::string>(&*stored);
    if (text && base::is_plain(*text)) return *text;
    TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__,
             "%s %s is not a plain text, its default is taken.", key, name);
    return fallback;
}

bool write_values(const char* key, std::span<const registry::Entry> values, const char* counter) {
    if (registry::set(key, values, counter) == store::Status::ok) return true;
    TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__, "%s cannot be written: %s.", key,
             std::strerror(errno));
    return false;
}

}  // namespace zel::settings
