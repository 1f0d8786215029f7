// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/file_io.h"
#include "base/paths.h"
#include "store/key_file.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "controller_settings";
constexpr const char* kGroup = "controller";
constexpr std::size_t kLongestUser = 16;

template <class Value>
struct Choice {
    const char* word;
    Value value;
};
constexpr std::array kInterfaces{Choice<Interface>{"none", Interface::none},
                                 Choice<Interface>{"inband", Interface::inband},
                                 Choice<Interface>{"lan", Interface::lan}};
constexpr std::array kPrivileges{Choice<std::uint8_t>{"user", 2}, Choice<std::uint8_t>{"operator", 3},
                                 Choice<std::uint8_t>{"admin", 4}};
constexpr std::array kTruths{Choice<bool>{"true", true}, Choice<bool>{"false", false}};
constexpr std::array kWorkarounds{Choice<bool>{"", false}, Choice<bool>{"opensesspriv", true}};

/// Takes values over into settings and remembers whether all of them were valid.
class Reader {
  public:
    explicit Reader(const store::KeyFile& file) : file_(file) {}

    [[nodiscard]] bool valid() const { return valid_; }

    void text(const char* key, std::string& out) {
        if (auto value = file_.get(kGroup, key); value && !value->empty()) out = *std::move(value);
    }

    template <class Value, std::size_t count>
    void choice(const char* key, const std::array<Choice<Value>, count>& choices, Value& out) {
        const auto word = file_.get(kGroup, key);
        if (!word) return;
        for (const auto& known : choices) {
            if (*word == known.word) {
                out = known.value;
                return;
            }
        }
        refuse(key);
    }

    int number(const char* key, int least, int greatest, int fallback) {
        if (!file_.get(kGroup, key)) return fallback;
        const auto value = file_.get_int(kGroup, key);
        if (value && *value >= least && *value <= greatest) return static_cast<int>(*value);
        refuse(key);
        return fallback;
    }

    void refuse(const char* key, const char* why = "is not valid") {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s: %s of [%s] %s.", base::config_file().c_str(), key, kGroup, why);
        valid_ = false;
    }

  private:
    const store::KeyFile& file_;
    bool valid_ = true;
};

/// What a cipher suite leaves open to others; null for one that encrypts.
const char* weakness_of(std::uint8_t suite) {
    switch (suite) {
        case 0:
            return "anybody can act as the user, without the password";
        case 1:
        case 6:
        case 15:
            return "whoever is on the way can read and change what is said";
        case 2:
        case 7:
        case 11:
        case 16:
            return "whoever is on the way can read what is said";
        default:
            return nullptr;
    }
}

/// Warns of a weak suite, once: the settings are read for every session.
void warn_of(std::uint8_t suite) {
    static std::atomic<int> told = -1;
    const char* const weakness = weakness_of(suite);
    if (weakness == nullptr || told.exchange(suite) == suite) return;
    ZEL_TRACE(TRACE_LEVEL_ERROR, "With cipher_suite=%d, %s; 3 and 17 are safe.", int{suite}, weakness);
}

bool refuse_password(const std::string& path, const char* why) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, "Password file %s: %s.", path.c_str(), why);
    return false;
}

/// Where systemd keeps the password for the service, which may not read root's files; empty for who is given
/// none.
std::string credential() {
    const char* const folder = ::secure_getenv("CREDENTIALS_DIRECTORY");
    return folder == nullptr ? std::string() : std::string(folder) + "/password";
}

/// Where there is no file to load, the unit hands over an empty line.
bool holds_password(const std::string& path) {
    char first = '\n';
    const auto file = path.empty() ? base::UniqueFd() : base::open_file(path, O_RDONLY | O_NOFOLLOW);
    return file && ::read(file.get(), &first, 1) == 1 && first != '\n';
}

/// As many bytes as fit, or as the file has.
ssize_t read_bytes(int fd, std::span<char> out) {
    ssize_t got = 0;
    do {
        got = ::read(fd, out.data(), out.size());
    } while (got < 0 && errno == EINTR);
    return got;
}

}  // namespace

std::string Settings::target() const {
    switch (interface) {
        case Interface::inband:
            return "inband " + device;
        case Interface::lan:
            return "lan " + host;
        case Interface::none:
            break;
    }
    return "none";
}

std::optional<Settings> read_settings() {
    store::KeyFile file;
    const auto status = store::read_key_file(base::config_file(), file);
    if (status != store::Status::ok && status != store::Status::not_found) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s cannot be read.", base::config_file().c_str());
        return std::nullopt;
    }
    Settings settings;
    Reader reader(file);
    reader.choice("interface", kInterfaces, settings.interface);
    reader.text("device", settings.device);
    reader.text("host", settings.host);
    reader.text("user", settings.user);
    reader.text("password_file", settings.password_file);
    if (auto given = credential(); !settings.password_file.empty() && holds_password(given))
        settings.password_file = std::move(given);
    reader.choice("privilege", kPrivileges, settings.privilege);
    reader.choice("workaround", kWorkarounds, settings.open_session_privilege);
    settings.cipher_suite = static_cast<std::uint8_t>(reader.number("cipher_suite", 0, 17, 3));
    bool unprotected = false;
    reader.choice("allow_cipher_suite_0", kTruths, unprotected);
    settings.timeout = std::chrono::seconds(reader.number("timeout", 1, 30, 5));
    if (settings.interface == Interface::lan) {
        if (settings.host.empty()) reader.refuse("host");
        if (settings.user.size() > kLongestUser) reader.refuse("user");
        if (settings.cipher_suite == 0 && !unprotected)
            reader.refuse("cipher_suite", "protects nothing, and allow_cipher_suite_0 is not true");
        if (reader.valid()) warn_of(settings.cipher_suite);
    }
    return reader.valid() ? std::optional(settings) : std::nullopt;
}

bool is_present(const Settings& settings) {
    switch (settings.interface) {
        case Interface::lan:
            return true;
        case Interface::inband:
            return ::access(settings.device.c_str(), F_OK) == 0;
        case Interface::none:
            break;
    }
    return false;
}

Password::~Password() {
    ::explicit_bzero(text_.data(), text_.size());
}

bool Password::wipe_copy_in(std::span<char> memory) const {
    const auto length = static_cast<std::ptrdiff_t>(std::string_view(c_str()).size());
    // With zeros before and after it, so that no part of another text is taken for it.
    std::array<char, max_size + 2> copy{};
    std::copy_n(text_.data(), length, copy.data() + 1);
    const auto found = std::search(memory.begin(), memory.end(), copy.begin(), copy.end());
    const bool wiped = length > 0 && found != memory.end();
    if (wiped) ::explicit_bzero(&*found, copy.size());
    ::explicit_bzero(copy.data(), copy.size());
    return length == 0 || wiped;
}

bool Password::read(const std::string& path) {
    // No link that somebody else could turn.
    const auto file = base::open_regular(path, O_NOFOLLOW);
    struct stat info {};
    if (!file || ::fstat(file.get(), &info) != 0) return refuse_password(path, base::why_not_opened());
    // systemd may give access to a credential by a list, whose mask then stands in the group's place.
    const mode_t closed = path == credential() ? S_IRWXO : S_IRWXG | S_IRWXO;
    if ((info.st_mode & closed) != 0) return refuse_password(path, "open to group or others");
    if (info.st_uid != 0 && info.st_uid != ::geteuid()) return refuse_password(path, "owned by another user");

    // Room for the longest password and a line's end, CR included.
    std::array<char, max_size + 2> bytes{};
    const ssize_t size = read_bytes(file.get(), bytes);
    const auto* const end = bytes.data() + std::max<ssize_t>(size, 0);
    const auto* line_end = std::find(bytes.data(), const_cast<char*>(end), '\n');
    if (line_end > bytes.data() && line_end[-1] == '\r') --line_end;
    const auto length = static_cast<std::size_t>(line_end - bytes.data());
    const bool fits =
        size >= 0 && length <= max_size && std::count(bytes.data(), bytes.data() + length, '\0') == 0;
    if (fits) std::copy_n(bytes.data(), length, text_.data());
    ::explicit_bzero(bytes.data(), bytes.size());
    return fits || refuse_password(path, "not a first line of at most 20 bytes");
}

}  // namespace zel::bmc
