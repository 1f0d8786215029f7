// SPDX-License-Identifier: GPL-3.0-or-later
#include "communities.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_set>

#include "base/file_io.h"
#include "base/plain_text.h"
#include "snmpd_lines.h"
#include "zel/trace.h"

namespace zel::system {
namespace {

constexpr const char* kModule = "communities";

/// A directive that names a community.
struct Directive {
    const char* keyword;
    int position;             ///< Which word after the keyword the community is,
    bool may_name_a_context;  ///< not counting "-Cn CONTEXT" in front.
};

constexpr std::array kDirectives{
    Directive{"rocommunity", 1, false},   Directive{"rwcommunity", 1, false},
    Directive{"rocommunity6", 1, false},  Directive{"rwcommunity6", 1, false},
    Directive{"authcommunity", 2, false}, Directive{"com2sec", 3, true},
    Directive{"com2sec6", 3, true},       Directive{"com2secunix", 3, true},
};

bool is(const std::string& word, const char* keyword) {
    return ::strcasecmp(word.c_str(), keyword) == 0;
}

/// Where an included path lies: relative ones start from the file that names them.
std::string resolve(std::string_view path, const std::string& from) {
    return path.starts_with('/') ? std::string(path) : base::parent_folder(from) + '/' + std::string(path);
}

class Reader {
  public:
    /// Reads one file. `ours` says whether it begins in the daemon's own section: a file inherits the
    /// section from the place that includes it.
    void read(const std::string& path, int depth, bool ours);

    std::vector<std::string> take() { return std::move(names_); }

  private:
    bool may_go_on(const std::string& path);
    base::UniqueFd open(const std::string& path, bool ours);
    void read_folder(const std::string& path, int depth, bool ours);
    void read_line(Words words, const std::string& path, int depth, bool& ours);
    void read_directive(const Directive& directive, Words& words);
    void add(const std::string& name);
    [[nodiscard]] bool full() const { return names_.size() >= kMostCommunities; }

    std::vector<std::string> names_;
    std::unordered_set<std::string> known_;
    std::set<std::tuple<dev_t, ino_t, bool>> visited_;
    int includes_ = 0;
    std::size_t left_out_ = 0;
};

/// Counts what is opened, so that no configuration keeps its reader busy for long.
bool Reader::may_go_on(const std::string& path) {
    if (++includes_ == kMostIncludes + 1) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s and further files are left out: too many.", path.c_str());
    }
    return includes_ <= kMostIncludes && !full();
}

/// Opens a regular file of acceptable size that was not read yet; read again, it would add nothing.
base::UniqueFd Reader::open(const std::string& path, bool ours) {
    base::UniqueFd file = base::open_regular(path);
    struct stat info {};
    if (!file || ::fstat(file.get(), &info) != 0) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s cannot be opened: %s.", path.c_str(), base::why_not_opened());
        return {};
    }
    if (info.st_size > static_cast<off_t>(kLargestFile)) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s is left out: too large.", path.c_str());
        return {};
    }
    if (!visited_.insert({info.st_dev, info.st_ino, ours}).second) return {};
    return file;
}

void Reader::read(const std::string& path, int depth, bool ours) {
    if (!may_go_on(path)) return;
    if (depth > kDeepestInclude) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s is left out: included too deep.", path.c_str());
        return;
    }
    const base::UniqueFd file = open(path, ours);
    if (!file) return;
    const std::size_t left_out_before = std::exchange(left_out_, 0);
    Lines lines(file, kLongestLine, kLargestFile);
    while (!full() && lines.next()) {
        read_line(lines.words(), path, depth, ours);
    }
    if (left_out_ > 0 || full()) {
        ZEL_TRACE(TRACE_LEVEL_ERROR,
                  "%s: %zu community names left out (empty, longer than %zu bytes, or not plain text)%s.",
                  path.c_str(), left_out_, kLongestCommunity, full() ? ", and all after too many" : "");
    }
    left_out_ = left_out_before;
}

void Reader::read_folder(const std::string& path, int depth, bool ours) {
    if (!may_go_on(path)) return;
    auto names = base::names_in(path);
    if (!names) {
        ZEL_TRACE(TRACE_LEVEL_RESOURCE, "%s cannot be read: %s.", path.c_str(), std::strerror(errno));
        return;
    }
    std::erase_if(*names,
                  [](const std::string& name) { return name.starts_with('.') || !name.ends_with(".conf"); });
    std::ranges::sort(*names);
    for (const std::string& name : *names) {
        read(std::string(path).append("/").append(name), depth, ours);
    }
}

void Reader::read_line(Words words, const std::string& path, int depth, bool& ours) {
    std::string word;
    if (!words.next(word)) return;
    bool counts = ours;
    if (word.starts_with('[')) {
        if (!word.ends_with(']')) return;
        counts = word == "[snmpd]";
        if (!words.next(word)) {
            ours = counts;
            return;
        }
    } else if (const bool folder = is(word, "includeDir"); folder || is(word, "includeFile")) {
        const std::string_view named = words.rest();
        if (named.empty()) return;
        folder ? read_folder(resolve(named, path), depth + 1, ours)
               : read(resolve(named, path), depth + 1, ours);
        return;
    }
    if (!counts) return;
    const auto* directive =
        std::ranges::find_if(kDirectives, [&](const auto& d) { return is(word, d.keyword); });
    if (directive != kDirectives.end()) read_directive(*directive, words);
}

void Reader::read_directive(const Directive& directive, Words& words) {
    std::string word;
    bool found = words.next(word);
    if (found && directive.may_name_a_context && word == "-Cn") found = words.next(word) && words.next(word);
    for (int position = 1; found && position < directive.position; ++position) {
        found = words.next(word);
    }
    if (found) add(word);
}

void Reader::add(const std::string& name) {
    if (name.empty() || name.size() > kLongestCommunity || !base::is_plain(name)) {
        ++left_out_;
    } else if (known_.insert(name).second) {
        names_.push_back(name);
    }
}

}  // namespace

std::vector<std::string> read_communities(const std::string& path) {
    Reader reader;
    reader.read(path, 0, true);
    return reader.take();
}

}  // namespace zel::system
