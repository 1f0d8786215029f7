// SPDX-License-Identifier: GPL-3.0-or-later
// 2026-03-01T09:15:02.417+0900 error ZELagntconf[812] ChassisIdentify general_ipmi ThreadChassisIdentify:88
// text
#include "zel/tracelog.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <string_view>

#include "base/file_io.h"
#include "base/paths.h"
#include "chars/plain.h"
#include "detail.h"
#include "log_file.h"

namespace {

constexpr std::size_t kLineLimit = 4096;
constexpr std::size_t kNameLimit = 64;

struct Log {
    std::mutex mutex;
    zel::trace::LogFile file;
    std::array<char, kNameLimit> program{};
    std::atomic<pid_t> pid = getpid();
    zel::trace::Detail detail{};  ///< Like the name, set before the log is ready and never again.
    std::atomic<bool> ready = false;
    bool opened = false;
};

Log& the_log() {
    // Never destroyed: threads may still trace while the process ends.
    static Log& log = *new Log;
    return log;
}

/// What a thread keeps between its lines. Breaking down the time is the dearest part of one.
struct ThreadState {
    std::array<char, kNameLimit> name{};
    std::time_t second = -1;
    std::array<char, 32> date_and_time{};
    std::array<char, 8> zone{};
};
thread_local ThreadState thread_state;

/// The longest part of `text` within `size` bytes that cuts no UTF-8 character.
std::string_view cut(std::string_view text, std::size_t size) {
    if (text.size() <= size) return text;
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U)
        --size;
    return text.substr(0, size);
}

template <std::size_t Size>
void keep_name(std::array<char, Size>& target, const char* name) {
    const std::string_view text = cut(name == nullptr ? std::string_view{} : name, Size - 1);
    std::ranges::fill(target, '\0');
    std::ranges::copy(text, target.begin());
}

/// A line being put together; what does not fit is left out.
class Line {
  public:
    /// Appends text; what could steer a terminal or hide in a line becomes visible.
    void add(std::string_view text) {
        while (!text.empty()) {
            const std::size_t plain = zel::chars::plain_prefix(text);
            append(cut(text.substr(0, plain), room()));
            text.remove_prefix(plain);
            if (text.empty()) break;
            append(zel::chars::escaped(text.front()));
            text.remove_prefix(1);
        }
    }

    void add_number(long number) {
        std::array<char, 24> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        append({digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

    /// The line with its line feed.
    std::string_view finish() {
        text_[used_] = '\n';
        return {text_.data(), used_ + 1};
    }

  private:
    [[nodiscard]] std::size_t room() const { return text_.size() - 1 - used_; }

    void append(std::string_view text) {
        if (text.size() > room()) return;
        std::memcpy(text_.data() + used_, text.data(), text.size());
        used_ += text.size();
    }

    std::size_t used_ = 0;
    std::array<char, kLineLimit> text_;
};

std::string_view level_word(int level) {
    switch (level) {
        case TRACE_LEVEL_ERROR:
            return " error ";
        case TRACE_LEVEL_RESOURCE:
            return " fail ";
        case TRACE_LEVEL_INFO:
            return " info ";
        default:
            return " trace ";
    }
}

void add_time(Line& line, const timespec& now) {
    ThreadState& state = thread_state;
    if (state.second != now.tv_sec) {
        std::tm local{};
        localtime_r(&now.tv_sec, &local);
        static_cast<void>(
            std::strftime(state.date_and_time.data(), state.date_and_time.size(), "%FT%T.", &local));
        static_cast<void>(std::strftime(state.zone.data(), state.zone.size(), "%z", &local));
        state.second = now.tv_sec;
    }
    const long thousands = now.tv_nsec / 1'000'000;
    line.add(state.date_and_time.data());
    if (thousands < 100) line.add(thousands < 10 ? "00" : "0");
    line.add_number(thousands);
    line.add(state.zone.data());
}

std::string_view or_unknown(const char* text) {
    return text == nullptr ? "?" : text;
}

void add_origin(Line& line, const Log& log, const char* module, const char* function, int number) {
    line.add(log.program.data());
    line.add("[");
    line.add_number(log.pid.load(std::memory_order_relaxed));
    line.add("] ");
    if (thread_state.name.front() != '\0') {
        line.add(thread_state.name.data());
        line.add(" ");
    }
    line.add(or_unknown(module));
    line.add(" ");
    line.add(or_unknown(function));
    line.add(":");
    line.add_number(number);
    line.add(" ");
}

/// A child process takes the lock over in a known state and has its own number.
void survive_fork() {
    pthread_atfork([] { the_log().mutex.lock(); }, [] { the_log().mutex.unlock(); },
                   [] {
                       the_log().pid = getpid();
                       the_log().mutex.unlock();
                   });
}

/// Opens the log once. In `unknown`, whether agent.conf has a level that is not known.
bool open_log(const char* program, bool& unknown) {
    Log& log = the_log();
    static std::once_flag once;
    std::call_once(once, survive_fork);
    const std::lock_guard guard(log.mutex);
    // Other threads read the name without the lock once the log is ready: it never changes again.
    if (!log.ready) {
        keep_name(log.program, program);
        log.pid = getpid();
        const auto chosen = zel::trace::configured_detail(zel::trace::usual_detail());
        unknown = !chosen;
        log.detail = chosen.value_or(zel::trace::usual_detail());
        log.opened = log.file.open(zel::base::own_state_folder() + "/log", log.program.data());
        log.ready = true;
    }
    return log.opened;
}

void write_line(int level, const char* module, const char* function, int number, std::string_view text) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);

    Log& log = the_log();
    Line line;
    add_time(line, now);
    line.add(level_word(level));
    add_origin(line, log, module, function, number);
    line.add(text);
    const std::lock_guard guard(log.mutex);
    log.file.write(line.finish(), now.tv_sec);
}

}  // namespace

int TraceLogInit(int /*a*/, const char* program, int /*b*/, int /*c*/, int /*d*/) try {
    const zel::base::ErrnoKeeper keep;
    if (program == nullptr || *program == '\0') return -1;
    bool unknown = false;
    const bool opened = open_log(program, unknown);
    if (unknown)
        write_line(TRACE_LEVEL_ERROR, "tracelog", __func__, __LINE__,
                   "level of [trace] in agent.conf is not valid.");
    return opened ? 0 : -1;
} catch (...) {
    return -1;
}

void TraceLogSetThrName(const char* name) {
    keep_name(thread_state.name, name);
}

void TraceLog(int level, const char* module, const char* function, int line, const char* format, ...) try {
    const Log& log = the_log();
    if (format == nullptr || !log.ready.load(std::memory_order_acquire)) return;
    if (zel::trace::detail_of(level) > log.detail) return;
    const zel::base::ErrnoKeeper keep;
    std::array<char, kLineLimit> text;
    va_list arguments;
    va_start(arguments, format);
    // Started by the caller, which clang-tidy 14 does not see when it looks at several files.
    const int length =
        std::vsnprintf(text.data(), text.size(), format, arguments);  // NOLINT(clang-analyzer-valist*)
    va_end(arguments);
    const std::size_t held = length < 0 ? 0 : std::min(static_cast<std::size_t>(length), text.size() - 1);
    write_line(level, module, function, line, {text.data(), held});
} catch (...) {
    return;  // Out of memory: the line is lost, the caller goes on.
}
