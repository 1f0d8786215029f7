// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

#include "base/paths.h"
#include "zel/win32.h"

namespace {

/// The value of a variable, or the text `written` when there is none.
std::string value_of(const std::string& name, std::string_view written) {
    if (name == "ZelDir") return zel::base::agent_dir();
    const char* const value = secure_getenv(name.c_str());
    return std::string(value == nullptr ? written : value);
}

std::string expand(std::string_view source) {
    std::string expanded;
    while (!source.empty()) {
        const std::size_t start = source.find('%');
        const std::size_t end = start == std::string_view::npos ? start : source.find('%', start + 1);
        if (end == std::string_view::npos) return expanded.append(source);
        const std::string_view written = source.substr(start, end + 1 - start);
        expanded.append(source.substr(0, start));
        expanded.append(value_of(std::string(written.substr(1, written.size() - 2)), written));
        source.remove_prefix(end + 1);
    }
    return expanded;
}

int lower(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
}

}  // namespace

uint32_t ExpandEnvironmentStrings(const char* src, char* dst, uint32_t size) try {
    if (src == nullptr) return 0;
    const bool writable = dst != nullptr && size > 0;
    if (writable) *dst = '\0';
    const std::string expanded = expand(src);
    const std::size_t needed = expanded.size() + 1;
    if (writable && needed <= size) std::copy_n(expanded.c_str(), needed, dst);
    return static_cast<std::uint32_t>(
        std::min<std::size_t>(needed, std::numeric_limits<std::uint32_t>::max()));
} catch (...) {
    return 0;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the name callers expect
int _memicmp(const void* a, const void* b, size_t n) {
    const auto* left = static_cast<const unsigned char*>(a);
    const auto* right = static_cast<const unsigned char*>(b);
    for (std::size_t i = 0; i < n; ++i) {
        const int difference = lower(left[i]) - lower(right[i]);
        if (difference != 0) return difference;
    }
    return 0;
}
