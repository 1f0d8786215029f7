// SPDX-License-Identifier: GPL-3.0-or-later
#include "cpu_count.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

#include "base/file_io.h"
#include "store/agent_config.h"
#include "zel/trace.h"

namespace zel::system {
namespace {

constexpr const char* kModule = "cpu_count";
constexpr int kMostCpus = 8192;  // no Linux kernel is built for more

/// Takes a CPU's number off the front.
std::optional<int> take_number(std::string_view& text) {
    int number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || number < 0 || number >= kMostCpus) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return number;
}

bool take(std::string_view& text, char expected) {
    if (!text.starts_with(expected)) return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::optional<int> cpus_in_list(std::string_view list) {
    int count = 0;
    int next = 0;  // the least number that may follow: a list that goes back would count a CPU twice
    do {
        const auto first = take_number(list);
        const auto last = first && take(list, '-') ? take_number(list) : first;
        if (!last || *first < next || *last < *first) return std::nullopt;
        count += *last - *first + 1;
        next = *last + 1;
    } while (take(list, ','));
    take(list, '\n');
    return list.empty() ? std::optional(count) : std::nullopt;
}

int count_cpus() {
    constexpr std::size_t kLongestList = std::size_t{1} << 20U;
    const std::string path = store::configured("monitor", "cpu_present", "/sys/devices/system/cpu/present");
    const base::UniqueFd file = base::open_file(path, O_RDONLY | O_NONBLOCK);
    std::string list;
    const bool read = file && base::read_at_most(file.get(), kLongestList, list);
    if (const auto count = read ? cpus_in_list(list) : std::nullopt) return *count;
    const long running = ::sysconf(_SC_NPROCESSORS_ONLN);
    ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s is no list of CPUs; counting the %ld that run.", path.c_str(),
              running);
    return static_cast<int>(std::clamp(running, 1L, long{kMostCpus}));
}

}  // namespace zel::system
