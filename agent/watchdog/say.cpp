// SPDX-License-Identifier: GPL-3.0-or-later
#include "say.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdarg>
#include <cstdio>

#include "chars/plain.h"
#include "zel/tracelog.h"

namespace zel::watchdog {
namespace {

constexpr std::size_t kLongestLine = 1000;

/// False for what was said just now: a controller that is silent is asked each second.
bool is_news(const std::string& line) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::minutes kSpan{10};
    struct Said {
        std::string line;
        Clock::time_point when;
    };
    static std::array<Said, 8> last;
    static std::size_t next = 0;
    const auto now = Clock::now();
    for (const Said& said : last)
        if (said.line == line && now - said.when < kSpan) return false;
    last.at(next++ % last.size()) = {line, now};
    return true;
}

}  // namespace

void say(const std::string& line) {
    const std::string text = chars::escaped(line.substr(0, kLongestLine)) + '\n';
    pollfd out{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
    if (::poll(&out, 1, 0) != 1) return;
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace zel::watchdog

// The trace log of this process: errors, on standard error. The file of other programs lies on a disk, which may hang.
extern "C" int TraceLogInit(int /*a*/, const char* /*program*/, int /*b*/, int /*c*/, int /*d*/) {
    return 0;
}

extern "C" void TraceLogSetThrName(const char* /*name*/) {}

extern "C" void TraceLog(int level, const char* /*module*/, const char* /*function*/, int /*line*/,
                         const char* format, ...) {
    if (level != TRACE_LEVEL_ERROR && level != TRACE_LEVEL_RESOURCE) return;
    std::array<char, zel::watchdog::kLongestLine> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);  // NOLINT(clang-analyzer-valist*)
    va_end(arguments);
    if (const std::string line = text.data(); zel::watchdog::is_news(line)) zel::watchdog::say(line);
}
