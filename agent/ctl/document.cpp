// SPDX-License-Identifier: GPL-3.0-or-later
#include "document.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <unordered_set>
#include <utility>

#include "resource.h"
#include "settings/threshold_file.h"

namespace zel::ctl {
namespace {

constexpr std::size_t kDeepest = 32;

/// Takes a document as it is read. The library's own tree would take the last of two equal keys and wrap a number that
/// is too large.
class Reader : public nlohmann::json_sax<Json> {
  public:
    Reader(Document& document, Problems& problems) : document_(document), problems_(problems) {}

    bool null() override { return take({}); }
    bool boolean(bool value) override { return take(value); }
    bool number_integer(number_integer_t value) override { return take(std::int64_t{value}); }
    bool number_unsigned(number_unsigned_t value) override {
        if (value > std::uint64_t{std::numeric_limits<std::int64_t>::max()})
            return refuse(std::to_string(value) + " is too large");
        return take(static_cast<std::int64_t>(value));
    }
    bool number_float(number_float_t /*value*/, const string_t& text) override {
        return refuse("'" + text + "' is not a whole number");
    }
    bool string(string_t& value) override { return take(std::move(value)); }
    bool binary(binary_t& /*value*/) override { return refuse("is binary"); }

    bool start_object(std::size_t /*elements*/) override {
        if (levels_.size() >= kDeepest)
            return stop("nests deeper than " + std::to_string(kDeepest) + " levels");
        if (levels_.size() == 1 && levels_.front().key != "settings")
            refuse(levels_.front().key == "schema" || levels_.front().key == "tag" ? "is an object"
                                                                                   : "is unknown");
        levels_.push_back({.holder = holder_of_next()});
        if (levels_.size() == 3) begin_resource(levels_[1].key);
        return true;
    }
    bool key(string_t& name) override {
        levels_.back().key = name;
        const bool object = levels_.size() == 3 && bracketed_;
        if (!object && name.find_first_of(".[]") != std::string::npos) return refuse("is unknown");
        if (!levels_.back().seen.insert(name).second)
            problems_.push_back({text_of(path()), "is given twice"});
        return true;
    }
    bool end_object() override {
        levels_.pop_back();
        return true;
    }
    bool start_array(std::size_t /*elements*/) override { return stop("is a list"); }
    bool end_array() override { return true; }
    bool parse_error(std::size_t position, const std::string& /*token*/,
                     const nlohmann::detail::exception& /*error*/) override {
        return stop("is no JSON from byte " + std::to_string(position) + " on");
    }

  private:
    struct Level {
        Path holder{};  ///< Of what is on this level.
        std::string key{};
        std::unordered_set<std::string> seen{};
    };

    void begin_resource(const std::string& name) {
        document_.resources.insert(name);
        const Resource* const resource = resource_of(name);
        bracketed_ = resource != nullptr && resource->bracketed;
    }

    /// The path of what is being read.
    [[nodiscard]] Path path() const {
        if (levels_.empty()) return {};
        const Level& level = levels_.back();
        if (levels_.size() < 3) return {.resource = level.key};
        Path path = level.holder;
        path.rest.append(path.rest.empty() ? "" : ".").append(level.key);
        return path;
    }
    /// That of an object which begins here.
    [[nodiscard]] Path holder_of_next() const {
        if (levels_.size() < 2) return {};
        Path holder = path();
        if (levels_.size() == 3 && bracketed_)
            holder.object = settings::escape_name(settings::unescape_name(std::exchange(holder.rest, {})));
        return holder;
    }

    bool refuse(std::string why) {
        problems_.push_back({text_of(path()), std::move(why)});
        return true;
    }
    bool stop(std::string why) {
        refuse(std::move(why));
        return false;
    }

    bool take(Scalar value) {
        if (levels_.empty()) return stop("is no object");
        if (levels_.size() == 1) return take_heading(value);
        if (levels_.size() == 2) return refuse("is no object");
        document_.wishes.push_back({path(), std::move(value)});
        return true;
    }
    bool take_heading(const Scalar& value) {
        const std::string& key = levels_.front().key;
        if (key == "schema")
            return value == Scalar(std::int64_t{kSchema}) || refuse("is not " + std::to_string(kSchema));
        if (key == "tag") return std::holds_alternative<std::string>(value) || refuse("is no text");
        return refuse(key == "settings" ? "is no object" : "is unknown");
    }

    Document& document_;
    Problems& problems_;
    std::vector<Level> levels_;
    bool bracketed_ = false;  ///< The objects of the resource that is being read stand in brackets.
};

/// What its settings have in common with others has been opened above `depth`.
struct Leaf {
    std::vector<std::string_view> parts;
    Json value;
};

/// How many of the first leaves stand below one name.
std::size_t size_of_member(std::span<const Leaf> leaves, std::size_t depth) {
    const auto same = [&](const Leaf& leaf) { return leaf.parts[depth] == leaves.front().parts[depth]; };
    return static_cast<std::size_t>(std::ranges::find_if_not(leaves, same) - leaves.begin());
}

Json object_of(std::span<Leaf> leaves, std::size_t depth) {
    std::vector<std::span<Leaf>> groups;
    for (std::span<Leaf> rest = leaves; !rest.empty(); rest = rest.subspan(groups.back().size()))
        groups.push_back(rest.first(size_of_member(rest, depth)));
    Json object = Json::object();
    // Without the library's look-up, which goes through all members; and one that grows copies what it has.
    auto& members = object.get_ref<Json::object_t&>();
    members.reserve(groups.size());
    for (const std::span<Leaf> group : groups) {
        Leaf& first = group.front();
        const bool last = first.parts.size() == depth + 1;
        members.emplace_back(std::string(first.parts[depth]),
                             last ? std::move(first.value) : object_of(group, depth + 1));
    }
    return object;
}

void append(std::string& text, const Json& json, std::size_t depth) {
    constexpr std::size_t kUnfolded = 3;  // the document, its settings, a resource
    if (!json.is_object() || json.empty() || depth >= kUnfolded) {
        text += base::json_text(json);
        return;
    }
    const std::string indent(2 * depth, ' ');
    const char* separator = "{\n";
    for (const auto& [key, value] : json.items()) {
        text.append(separator).append(indent).append("  ").append(base::json_text(key)).append(": ");
        append(text, value, depth + 1);
        separator = ",\n";
    }
    text.append("\n").append(indent).append("}");
}

}  // namespace

Document parse_document(std::string_view text, Problems& problems) {
    Document document;
    if (text.size() > kLargestDocument) {
        problems.push_back({"", "the document is larger than 1 MiB"});
        return document;
    }
    Reader reader(document, problems);
    document.whole = Json::sax_parse(text, &reader);
    return document;
}

Json json_of(const Scalar& value) {
    if (is_nothing(value)) return nullptr;
    if (const auto* flag = std::get_if<bool>(&value)) return *flag;
    if (const auto* number = std::get_if<std::int64_t>(&value)) return *number;
    return std::get<std::string>(value);
}

Json nested(std::span<const Setting* const> settings, const Values& values, bool secrets) {
    std::vector<Leaf> leaves;
    leaves.reserve(settings.size());
    for (const Setting* setting : settings)
        if (secrets || !setting->kind->secret)
            leaves.push_back({parts_of(setting->path), json_of(setting->get(values))});
    return object_of(leaves, 0);
}

std::string document_text(const Json& document) {
    std::string text;
    append(text, document, 0);
    return text + '\n';
}

}  // namespace zel::ctl
