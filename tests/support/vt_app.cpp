// SPDX-License-Identifier: GPL-3.0-or-later
#include "vt_app.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace zeltest {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kPatience{10};
#ifdef SYS_select
constexpr long kSelect = SYS_select;
#else
constexpr long kSelect = SYS_pselect6;
#endif

void require(bool condition, const char* what) {
    if (!condition) throw std::system_error(errno, std::generic_category(), what);
}

bool readable(int fd) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, 0) > 0 && (p.revents & POLLIN) != 0;
}

std::string key_bytes(std::string_view name) {
    static const std::map<std::string_view, const char*> known = {
        {"Tab", "\t"},       {"S-Tab", "\033[Z"},   {"Up", "\033[A"},      {"Down", "\033[B"},
        {"Home", "\033[1~"}, {"End", "\033[4~"},    {"Enter", "\r"},       {"Space", " "},
        {"Esc", "\033"},     {"Backspace", "\177"}, {"Delete", "\033[3~"}, {"F12", "\033[24~"}};
    if (const auto found = known.find(name); found != known.end()) return found->second;
    if (name.size() == 6 && name.starts_with("Ctrl-")) return {static_cast<char>(name[5] & 0x1f)};
    return std::string(name);
}

void append_utf8(std::string& text, uint32_t c) {
    const unsigned tails = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    text += static_cast<char>(tails == 0 ? c : (0xffU << (7 - tails)) | c >> 6 * tails);
    for (unsigned left = tails; left-- > 0;)
        text += static_cast<char>(0x80U | (c >> 6 * left & 0x3fU));
}

std::vector<std::string> environment_of(const VtOptions& options) {
    auto wanted = options.environment;
    wanted.try_emplace("TERM", "xterm-256color");
    wanted.try_emplace("LANG", "C.UTF-8");
    for (const char* name : {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"})
        if (const char* value = std::getenv(name)) wanted.try_emplace(name, value);
    if (!options.preload.empty()) {
        auto& asan = wanted["ASAN_OPTIONS"];
        asan = asan.value_or("") + ":verify_asan_link_order=0";
        auto& preload = wanted["LD_PRELOAD"].emplace();
        for (const auto& library : options.preload)
            preload += library + ":";
    }
    std::vector<std::string> result;
    for (const auto& [name, value] : wanted)
        if (value) result.push_back(name + "=" + *value);
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (auto& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

int palette_number(const VTermColor& colour, bool is_default) {
    if (is_default) return -1;
    return VTERM_COLOR_IS_INDEXED(&colour) ? colour.indexed.idx : -2;
}

}  // namespace

void UniqueFd::reset(int fd) {
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
}

VtApp::VtApp(const VtOptions& options)
    : rows_(options.rows),
      columns_(options.columns),
      name_(options.command.at(0)),
      terminal_(vterm_new(rows_, columns_)),
      screen_(vterm_obtain_screen(terminal_.get())) {
    int ends[2];
    require(openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) == 0, "pseudo-terminal");
    master_.reset(ends[0]);
    slave_.reset(ends[1]);
    require(tcgetattr(slave_.get(), &modes_) == 0 && fcntl(master_.get(), F_SETFL, O_NONBLOCK) == 0,
            "terminal");
    vterm_set_utf8(terminal_.get(), 1);
    vterm_screen_enable_altscreen(screen_, 1);
    static const VTermScreenCallbacks callbacks = [] {
        VTermScreenCallbacks c{};
        c.settermprop = [](VTermProp property, VTermValue* value, void* user) {
            auto* app = static_cast<VtApp*>(user);
            if (property == VTERM_PROP_ALTSCREEN) app->alternate_screen_ = value->boolean != 0;
            if (property == VTERM_PROP_CURSORVISIBLE) app->cursor_visible_ = value->boolean != 0;
            return 1;
        };
        return c;
    }();
    vterm_screen_set_callbacks(screen_, &callbacks, this);
    vterm_screen_reset(screen_, 1);
    resize(rows_, columns_);
    start(options);
}

void VtApp::start(const VtOptions& options) {
    auto command = options.command;
    auto environment = environment_of(options);
    const auto arguments = pointers(command);
    const auto variables = pointers(environment);
    pid_ = fork();
    require(pid_ >= 0, "fork");
    if (pid_ > 0) return;
    setsid();
    if (options.controlling) ioctl(slave_.get(), TIOCSCTTY, 0);
    for (int fd = 0; fd < 3; ++fd) {
        const std::string& file = options.redirect.at(static_cast<std::size_t>(fd));
        const int how = (fd == 0 ? O_RDONLY : O_WRONLY | O_CREAT | O_APPEND) | O_CLOEXEC;
        dup2(file.empty() ? slave_.get() : open(file.c_str(), how, 0600), fd);
    }
    hang_up();  // of the child's own two ends
    execve(arguments[0], arguments.data(), variables.data());
    _exit(127);
}

VtApp::~VtApp() {
    hang_up();
    if (!has_ended()) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

testing::AssertionResult VtApp::settle() {
    const auto end = Clock::now() + kPatience;
    // In this order there is no gap: keys taken, program waiting, output seen. poll() flushes the kernel's
    // queues.
    while (readable(slave_.get()) || !idle() || readable(master_.get())) {
        drain();
        if (has_ended())
            return testing::AssertionFailure() << name_ << " ended with status " << *status_ << "\n"
                                               << picture();
        if (Clock::now() > end)
            return testing::AssertionFailure() << name_ << " does not come to rest\n" << picture();
        pollfd p{master_.get(), POLLIN, 0};
        poll(&p, 1, 1);
    }
    return testing::AssertionSuccess();
}

void VtApp::keys(std::string_view names) {
    std::istringstream each{std::string(names)};
    for (std::string name; each >> name;) {
        const auto star = name.size() > 2 ? name.find('*') : std::string::npos;
        for (int left = star < name.size() ? std::stoi(name.substr(star + 1)) : 1; left > 0; --left) {
            send(name.substr(0, star));
            if (const auto settled = settle(); !settled)
                throw std::runtime_error("after the key " + name + ": " + settled.message());
        }
    }
}

void VtApp::send(std::string_view name) {
    const std::string bytes = key_bytes(name);
    require(write(master_.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            "write to terminal");
}

std::optional<int> VtApp::wait_exit() {
    const auto end = Clock::now() + kPatience;
    while (!has_ended() && Clock::now() < end) {
        pollfd p{master_.get(), POLLIN, 0};
        poll(&p, 1, 1);
        drain();
    }
    if (readable(master_.get())) drain();
    return status_;
}

bool VtApp::wait_stop() {
    siginfo_t info{};
    for (const auto end = Clock::now() + kPatience; Clock::now() < end && info.si_pid == 0; drain())
        waitid(P_PID, static_cast<id_t>(pid_), &info, WSTOPPED | WNOHANG);
    return info.si_pid == pid_;
}

bool VtApp::wait_screen() {
    for (const auto end = Clock::now() + kPatience; Clock::now() < end && terminal_restored(); drain())
        usleep(1000);
    return !terminal_restored();
}

Cell VtApp::cell(Position at) const {
    VTermScreenCell raw{};
    vterm_screen_get_cell(screen_, VTermPos{at.row, at.column}, &raw);
    Cell result{"", palette_number(raw.fg, VTERM_COLOR_IS_DEFAULT_FG(&raw.fg)),
                palette_number(raw.bg, VTERM_COLOR_IS_DEFAULT_BG(&raw.bg))};
    if (raw.chars[0] == UINT32_MAX) return result;
    if (raw.chars[0] == 0) result.text = " ";
    for (int i = 0; i < VTERM_MAX_CHARS_PER_CELL && raw.chars[i] != 0; ++i)
        append_utf8(result.text, raw.chars[i]);
    return result;
}

Cell VtApp::cell(std::string_view text, int offset) const {
    const auto at = find(text);
    EXPECT_TRUE(at) << "not on the screen: " << text << "\n" << picture();
    return at ? cell({at->row, at->column + offset}) : Cell{};
}

std::string VtApp::text_on(int background) const {
    std::string text;
    for (int place = 0; place < rows_ * columns_; ++place)
        if (const Cell one = cell({place / columns_, place % columns_}); one.background == background)
            text += one.text;
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string VtApp::row(int row) const {
    std::string text;
    for (int column = 0; column < columns_; ++column)
        text += cell({row, column}).text;
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string VtApp::picture() const {
    std::string text;
    for (int y = 0; y < rows_; ++y)
        text += row(y) + "\n";
    text.erase(text.find_last_not_of('\n') + 1);
    return text + "\n";
}

std::optional<Position> VtApp::find(std::string_view text) const {
    for (int y = 0; y < rows_; ++y) {
        const std::size_t byte = row(y).find(text);
        if (byte == std::string::npos) continue;
        int column = 0;
        for (std::size_t before = 0; before < byte; ++column)
            before += cell({y, column}).text.size();
        return Position{y, column};
    }
    return std::nullopt;
}

void VtApp::resize(int rows, int columns) {
    rows_ = rows;
    columns_ = columns;
    const winsize size{static_cast<unsigned short>(rows), static_cast<unsigned short>(columns), 0, 0};
    require(ioctl(master_.get(), TIOCSWINSZ, &size) == 0, "TIOCSWINSZ");
    vterm_set_size(terminal_.get(), rows, columns);
}

void VtApp::hang_up() {
    slave_.reset();
    master_.reset();
}

void VtApp::signal(int number) const {
    require(kill(pid_, number) == 0, "kill");
}

bool VtApp::terminal_restored() const {
    termios now{};
    return tcgetattr(slave_.get(), &now) == 0 && now.c_iflag == modes_.c_iflag &&
           now.c_oflag == modes_.c_oflag && now.c_cflag == modes_.c_cflag && now.c_lflag == modes_.c_lflag &&
           std::memcmp(now.c_cc, modes_.c_cc, sizeof now.c_cc) == 0 && !alternate_screen_ && cursor_visible_;
}

bool VtApp::has_ended() {
    int raw = 0;
    rusage usage{};
    if (!status_ && wait4(pid_, &raw, WNOHANG, &usage) == pid_) {
        status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : -WTERMSIG(raw);
        cpu_seconds_ = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                       static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    }
    return status_.has_value();
}

void VtApp::drain() {
    std::array<char, 65536> bytes;
    ssize_t n = 0;
    while ((n = read(master_.get(), bytes.data(), bytes.size())) > 0)
        vterm_input_write(terminal_.get(), bytes.data(), static_cast<std::size_t>(n));
}

// Blocked in select, with no time limit or a long one: the terminal library waits for a key in slices
// of 10 s, while its look-ahead in an escape sequence (0.5 s) is not rest.
bool VtApp::idle() const {
    const std::string path = "/proc/" + std::to_string(pid_) + "/syscall";
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 256> line{};
    if (file.get() < 0 || read(file.get(), line.data(), line.size() - 1) <= 0) return false;
    char* rest = line.data();
    const long number = std::strtol(rest, &rest, 10);
    std::array<std::uintptr_t, 5> arguments{};
    for (auto& argument : arguments)
        argument = std::strtoull(rest, &rest, 16);
    const auto waits_long = [this](std::uintptr_t limit_at) {
        if (limit_at == 0) return true;
        std::array<time_t, 2> limit{};  // seconds, then a fraction: of timespec and timeval alike
        const iovec here{limit.data(), sizeof limit};
        const iovec there{reinterpret_cast<void*>(limit_at), sizeof limit};
        return process_vm_readv(pid_, &here, 1, &there, 1, 0) == sizeof limit && limit[0] >= 2;
    };
    // select() of newt and of S-Lang, whichever way the C library makes it
    return (number == SYS_pselect6 || number == kSelect) && waits_long(arguments[4]);
}

}  // namespace zeltest
