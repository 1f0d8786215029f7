// SPDX-License-Identifier: GPL-3.0-or-later
#include "attribute.h"

#include <fcntl.h>

#include <limits>

#include "base/file_io.h"
#include "store/key_file.h"

namespace zel::system {

std::optional<std::string> attribute(const std::string& path) {
    constexpr std::size_t kLongest = 512;
    const auto file = base::open_file(path, O_RDONLY | O_NONBLOCK);
    std::string text;
    if (!file || !base::read_at_most(file.get(), kLongest, text, kLongest)) return std::nullopt;
    return text.substr(0, text.find('\n'));
}

std::optional<std::uint32_t> attribute_number(const std::string& path) {
    const auto number = store::parse_int(attribute(path).value_or(""));
    if (!number || *number < 0 || *number > std::int64_t{std::numeric_limits<std::uint32_t>::max()})
        return std::nullopt;
    return static_cast<std::uint32_t>(*number);
}

}  // namespace zel::system
