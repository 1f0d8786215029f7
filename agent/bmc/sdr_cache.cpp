// SPDX-License-Identifier: GPL-3.0-or-later
#include "sdr_cache.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "base/file_io.h"
#include "base/own_folder.h"
#include "base/paths.h"
#include "controller_guid.h"
#include "reading_factors.h"
#include "request_limit.h"
#include "store/key_file.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sdr_cache";
constexpr std::string_view kFormat = "zelsdr 2 ";
constexpr std::string_view kGuid = "guid ";
constexpr std::string_view kSum = "sum ";
constexpr std::size_t kLargestFile = std::size_t{1} << 20;
constexpr std::chrono::seconds kLongestLock{10};

/// One name per controller, whatever characters its address has.
std::string cache_path(const std::string& target) {
    std::string name = target;
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.') c = '_';
    }
    name.resize(std::min<std::size_t>(name.size(), 200));
    return base::own_state_folder() + "/sdr/" + name;
}

/// FNV-1a: finds what a disk or an editor did, and is not meant against more.
std::string checksum(std::string_view text) {
    std::uint64_t sum = 0xcbf29ce484222325;
    for (const char c : text)
        sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    std::array<std::uint8_t, 8> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(sum >> (56 - 8 * i));
    return to_hex(bytes);
}

std::string serialise(const std::string& identity, const SensorRecords& known) {
    std::string text = std::string(kFormat) + identity + '\n' + std::string(kGuid) + known.guid + '\n';
    for (const Record& record : known.records)
        text += to_hex(record) + '\n';
    return text + std::string(kSum) + checksum(text) + '\n';
}

/// Takes the first line, without its end, off the text.
std::string_view take_line(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::optional<Record> parse_hex(std::string_view line) {
    if (line.size() % 2 != 0) return std::nullopt;
    Record record;
    for (; !line.empty(); line.remove_prefix(2)) {
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(line.data(), line.data() + 2, byte, 16);
        if (error != std::errc{} || end != line.data() + 2) return std::nullopt;
        record.push_back(byte);
    }
    return record;
}

/// The records of a file's text; nothing when it is of another state of the repository, or damaged.
std::optional<SensorRecords> parse(std::string_view text, const std::string& identity) {
    const std::size_t last_line = text.rfind(kSum);
    if (last_line == std::string_view::npos) return std::nullopt;
    const std::string_view counted = text.substr(0, last_line);
    if (text.substr(last_line) != std::string(kSum) + checksum(counted) + '\n') return std::nullopt;

    std::string_view rest = counted;
    if (take_line(rest) != std::string(kFormat) + identity) return std::nullopt;
    const std::string_view guid = take_line(rest);
    if (!guid.starts_with(kGuid)) return std::nullopt;
    SensorRecords known{.guid = std::string(guid.substr(kGuid.size())), .records = {}};
    while (!rest.empty()) {
        auto record = parse_hex(take_line(rest));
        if (!record) return std::nullopt;
        known.records.push_back(*std::move(record));
    }
    return known;
}

/// @param guid  Null: whichever stands there.
std::optional<SensorRecords> load(const std::string& path, const std::string& identity,
                                  const std::string* guid) {
    const auto file = base::open_own(path);
    if (!file) return std::nullopt;
    std::string text;
    if (!base::read_at_most(file.get(), kLargestFile, text)) return std::nullopt;
    auto known = parse(text, identity);
    if (known && guid && known->guid != *guid) return std::nullopt;
    return known;
}

void trace_no_cache(const std::string& path) {
    ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s: %s; the records are not kept.", path.c_str(), std::strerror(errno));
}

/// An open lock file, so that of several processes one reads the repository and the others wait for its file.
base::UniqueFd lock(const std::string& path) {
    auto file = base::take_own_lock(path + ".lock", kLongestLock);
    if (!file) trace_no_cache(path);
    return file;
}

}  // namespace

std::optional<SensorRecords> sensor_records(Controller& controller, bool ask_guid) {
    const RequestLimit limit(kLongestList);
    auto identity = repository_identity(controller);
    if (!identity) return std::nullopt;
    std::optional<std::string> guid;
    if (ask_guid && !(guid = read_guid(controller))) return std::nullopt;
    const std::string path = cache_path(controller.target());
    const std::string* asked = guid ? &*guid : nullptr;
    if (auto kept = load(path, *identity, asked)) return kept;

    const auto locked = lock(path);
    if (auto kept = load(path, *identity, asked)) return kept;  // by whoever held the lock
    auto read = read_repository(controller, *std::move(identity));
    if (!read || !(guid || (guid = read_guid(controller)))) return std::nullopt;
    for (Record& record : read->records) {
        if (!append_factors(controller, record)) return std::nullopt;
    }
    SensorRecords known{.guid = *std::move(guid), .records = std::move(read->records)};
    if (locked && !store::replace_file(path, serialise(read->identity, known))) trace_no_cache(path);
    return known;
}

}  // namespace zel::bmc
