// SPDX-License-Identifier: GPL-3.0-or-later
#include "registry_values.h"

#include <cerrno>
#include <cstring>
#include <variant>

#include "base/plain_text.h"
#include "change_log.h"
#include "zel/trace.h"

namespace zel::settings {
namespace {

namespace registry = store::registry;
constexpr const char* kModule = "registry_values";

}  // namespace

bool registry_readable() {
    const bool readable = registry::check() == store::Status::ok;
    if (!readable)
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s cannot be read or does not parse.", registry::path().c_str());
    return readable;
}

std::uint32_t read_number(const std::string& key, const Value& value) {
    const auto stored = registry::get(key, value.name);
    if (!stored) return value.fallback;
    const auto* number = std::get_if<std::uint32_t>(&*stored);
    if (number && value.allows(*number)) return *number;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s %s is invalid, taken as %u.", key.c_str(), value.name, value.fallback);
    return value.fallback;
}

std::string read_text(const Text& text) {
    const auto stored = registry::get(text.key, text.name);
    if (!stored) return text.fallback;
    const auto* words = std::get_if<std::string>(&*stored);
    if (words && base::is_plain(*words)) return *words;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s %s is not a plain text, its default is taken.", text.key, text.name);
    return text.fallback;
}

int judge(const CpuThresholdRow& row) {
    int faults = 0;
    if (std::max(row.fatalReport, row.fatalReset) > 100) faults |= CPU_TEST_FATAL_BIG;
    if (std::min(row.warningReport, row.warningReset) < 1) faults |= CPU_TEST_WARNING_SMALL;
    const bool ordered = row.fatalReport > row.fatalReset && row.fatalReset > row.warningReport &&
                         row.warningReport > row.warningReset;
    if (!ordered) faults |= CPU_TEST_ORDER;
    return faults;
}

bool is_valid(const Value& value, std::uint64_t number) {
    const bool valid = value.allows(number);
    if (!valid) ZEL_TRACE(TRACE_LEVEL_ERROR, "%s %llu is refused.", value.name, 0ULL + number);
    return valid;
}

bool write_values(const std::string& key, std::span<const registry::Entry> values, const char* counter) {
    std::vector<store::KeyFile::Change> changes;
    if (registry::set(key, values, counter, &changes) == store::Status::ok) {
        log_registry_changes(changes);
        return true;
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s cannot be written: %s.", key.c_str(), std::strerror(errno));
    return false;
}

}  // namespace zel::settings
