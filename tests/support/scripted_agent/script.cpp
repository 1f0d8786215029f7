// SPDX-License-Identifier: GPL-3.0-or-later
#include "script.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>

namespace scripted {
namespace {

using Lines = std::map<std::string, std::string, std::less<>>;

struct Memory {
    std::mutex lock;  // the identify worker calls from its own thread
    std::string folder;
    Lines script;
    std::map<std::string, std::size_t, std::less<>> answered;
};

Memory* load() {
    auto* memory = new Memory;
    memory->folder = std::getenv("SCRIPTED_AGENT");
    std::ifstream file(memory->folder + "/script");
    for (std::string line; std::getline(file, line);)
        if (const auto equals = line.find('='); equals != std::string::npos)
            memory->script.insert_or_assign(line.substr(0, equals), line.substr(equals + 1));
    return memory;
}

// Never destroyed: a worker thread may outlive main's statics.
Memory& memory() {
    static Memory* const the = load();
    return *the;
}

}  // namespace

std::string shown(std::string_view text) {
    return std::string(text);
}

std::string shown(std::span<const int32_t> numbers) {
    std::string text;
    for (const auto number : numbers)
        text += (text.empty() ? "{" : ",") + std::to_string(number);
    return text + "}";
}

std::string hex(uint64_t number) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
    return text;
}

int64_t called(std::string_view name, const std::string& arguments, int64_t otherwise) {
    note("calls", std::string(name) + "(" + arguments + ")");
    if (const auto seconds = parts(std::string(name) + ".waits"); !seconds.empty())
        usleep(static_cast<useconds_t>(std::atoi(seconds[0].c_str())) * 1'000'000);
    const auto results = parts(name);
    if (results.empty()) return otherwise;
    const std::lock_guard guard(memory().lock);
    auto& count = memory().answered[std::string(name)];
    const auto& result = results[std::min(count++, results.size() - 1)];
    return std::strtoll(result.c_str(), nullptr, 0);
}

void fill(std::string_view name, std::span<int32_t> fields) {
    const auto numbers = parts(name);
    for (std::size_t i = 0; i < fields.size() && !numbers.empty(); ++i)
        fields[i] =
            i < numbers.size() ? static_cast<int32_t>(std::strtol(numbers[i].c_str(), nullptr, 0)) : 0;
}

std::vector<std::string> parts(std::string_view name) {
    std::vector<std::string> result;
    const auto found = lines().find(name);
    if (found == lines().end()) return result;
    for (std::size_t from = 0; from <= found->second.size();) {
        const auto comma = std::min(found->second.find(',', from), found->second.size());
        result.push_back(found->second.substr(from, comma - from));
        from = comma + 1;
    }
    return result;
}

std::map<std::string, std::string, std::less<>>& lines() {
    return memory().script;
}

void note(const char* file, std::string line) {
    for (std::size_t at = 0; (at = line.find('\n', at)) != std::string::npos; at += 2)
        line.replace(at, 1, "\\n");
    line += '\n';
    const std::string path = memory().folder + "/" + file;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0 || write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) std::abort();
    close(fd);
}

}  // namespace scripted
