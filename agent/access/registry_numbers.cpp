// SPDX-License-Identifier: GPL-3.0-or-later
// Several numbers of the registry in one call.
#include <cstring>
#include <span>
#include <string_view>

#include "store/registry.h"
#include "zel/access_control.h"

namespace {

/// A caller's text, but no further than any name in the registry can reach.
std::string_view bounded(const char* text) {
    constexpr std::size_t kLongest = 4096;
    return text ? std::string_view(text, ::strnlen(text, kLongest)) : std::string_view();
}

}  // namespace

/// Missing numbers read as 0. 1 when all were found, else 0.
extern "C" int GetZelaRegNum(RegNumItem* items, int count) try {
    if (!items || count < 0) return 0;
    bool all = true;
    for (RegNumItem& item : std::span(items, static_cast<std::size_t>(count))) {
        const auto number = zel::store::registry::get_dword(bounded(item.key), bounded(item.name));
        item.value = number.value_or(0);
        all = all && number.has_value();
    }
    return all ? 1 : 0;
} catch (...) {
    return 0;
}
