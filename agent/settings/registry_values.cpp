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

/// A text that reads as it is kept.
bool is_valid(const Text& text, const std::string& words) {
    return base::is_plain(words) && (!words.empty() || *text.fallback == '\0');
}

/// Logs what changed, or why nothing did.
bool told_changes(const std::string& key, store::Status status, Changed changes) {
    if (status == store::Status::ok) {
        log_registry_changes(changes);
        return true;
    }
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s cannot be written: %s.", key.c_str(), std::strerror(errno));
    return false;
}

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

bool count_generation(registry::Edit& edit, const std::string& key) {
    const auto before = detail::valid_number(edit, key, kGeneration).value_or(0);
    const bool noted = edit.get(key, kNotedGeneration.name).has_value();
    return (noted || edit.set(key, kNotedGeneration.name, before)) && edit.count(key, kGeneration.name);
}

bool is_meant_to_arm(const std::string& key) {
    const auto noted = registry::get_dword(key, kNotedGeneration.name);
    return noted && read_number(key, kGeneration) != *noted;
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

std::optional<std::uint32_t> detail::valid_number(const registry::Edit& edit, const std::string& key,
                                                  const Value& value) {
    const auto stored = edit.get(key, value.name);
    const auto* number = stored ? std::get_if<std::uint32_t>(&*stored) : nullptr;
    return number && value.allows(*number) ? std::optional(*number) : std::nullopt;
}

void detail::tell_misfit(const std::string& key) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "%s does not fit what somebody else has written meanwhile.", key.c_str());
}

bool write_text(const Text& text, const std::string& words, const std::optional<std::string>& before) {
    return change_values(text.key, [&](registry::Edit& edit) {
        const auto stored = before ? edit.get(text.key, text.name) : std::nullopt;
        const auto* held = stored ? std::get_if<std::string>(&*stored) : nullptr;
        const bool left = held && *held != *before && is_valid(text, *held);
        return left || edit.set(text.key, text.name, words);
    });
}

bool write_values(const std::string& key, std::span<const registry::Entry> values) {
    std::vector<store::KeyFile::Change> changes;
    return told_changes(key, registry::set(key, values, &changes), changes);
}

bool change_values(const std::string& key, const std::function<bool(registry::Edit&)>& edit) {
    std::vector<store::KeyFile::Change> changes;
    return told_changes(key, registry::change(edit, &changes), changes);
}

}  // namespace zel::settings
