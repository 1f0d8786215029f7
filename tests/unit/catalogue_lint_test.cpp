// SPDX-License-Identifier: GPL-3.0-or-later
// Checks the shipped message catalogues. The look-up has no bounds of its own and the panels build fixed
// layouts and formats around the texts, so a text that is too long or takes other arguments is a fault.
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr size_t kAny = 1023;             // bytes that the look-up's buffer holds
constexpr const char* kAsItStands = "-";  // shown without formatting: no percent sign at all

/// A line of catalogue_rules.txt.
struct Rule {
    size_t bytes = 0;
    int columns = 0;
    std::string conversions;
    std::regex identifiers;
};

// Blanks at an edge keep a text off what stands beside it; nowhere else are they meant.
const std::set<std::string> kBlankBefore{"MAIN_HELPLINE_ID", "STOGSUB_THRESHOLD1_ID"};
const std::set<std::string> kBlankAfter{"CPU_SAMPLE_ID", "FILE_DEVICE_ID", "FILE_FATAL_ID",
                                        "FILE_WARNING_ID"};

std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// The texts by identifier. A line that is neither comment nor entry is a failure, and so is an identifier
/// that is the beginning of another: the look-up would take one for the other.
std::map<std::string, std::string> load(const std::string& name) {
    static const std::regex shape("\\[([A-Z][A-Z0-9]+(?:_[A-Z0-9]+)+)\\]=\"([^\"]*)\"");
    const std::string all = read_file(std::filesystem::path(ZEL_DATA_DIR) / name);
    EXPECT_TRUE(all.ends_with('\n')) << name << " is missing or its last line has no line feed";
    std::istringstream lines(all);
    std::map<std::string, std::string> texts;
    std::smatch parts;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == ';' || line.front() == '#') continue;
        EXPECT_TRUE(std::regex_match(line, parts, shape) && texts.emplace(parts[1], parts[2]).second)
            << name << " holds a line that is no entry, or a second one of a name: " << line;
    }
    EXPECT_EQ(std::ranges::adjacent_find(
                  texts, [](const auto& one, const auto& next) { return next.first.starts_with(one.first); }),
              texts.end());
    return texts;
}

std::vector<Rule> rules() {
    std::ifstream lines(CATALOGUE_RULES);
    std::vector<Rule> all;
    for (std::string line, pattern; std::getline(lines, line);) {
        if (line.starts_with('#')) continue;
        Rule& rule = all.emplace_back();
        std::istringstream(line) >> rule.bytes >> rule.columns >> rule.conversions >> pattern;
        if (rule.conversions == "none") rule.conversions.clear();
        rule.identifiers = pattern;
    }
    return all;
}

/// Puts in the longest arguments that the panels pass, and notes their letters; '?' for an unknown one.
std::string format(const std::string& text, std::string& conversions) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        const char letter = text[i] == '%' && ++i < text.size() ? text[i] : '\0';
        if (letter != '\0' && letter != '%') conversions += letter == 'd' || letter == 's' ? letter : '?';
        result += letter == 'd'   ? "3600"
                  : letter == 's' ? "Mylex_ReadThresholdFromFile"
                                  : std::string(1, text[std::min(i, text.size() - 1)]);
    }
    return result;
}

/// Columns on the screen; -1 when the text is no UTF-8 or holds a character that cannot be shown.
int columns(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    const size_t length = std::mbstowcs(wide.data(), text.c_str(), wide.size());
    return length > wide.size() ? -1 : wcswidth(wide.c_str(), length);
}

TEST(CatalogueLint, TextsKeepTheirLimitsAndConversions) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    const std::vector<Rule> all = rules();
    for (const char* name : {"E_ctlpanel.rc", "J_ctlpanel.rc"}) {
        for (const auto& [identifier, text] : load(name)) {
            SCOPED_TRACE(testing::Message() << name << ": " << identifier << " = " << text);
            const Rule& rule = *std::ranges::find_if(
                all, [&id = identifier](const Rule& each) { return std::regex_match(id, each.identifiers); });
            const bool plain = rule.conversions == kAsItStands;
            std::string conversions;
            const std::string shown = plain ? text : format(text, conversions);
            EXPECT_EQ(conversions, plain ? "" : rule.conversions);
            EXPECT_TRUE(!plain || text.find('%') == std::string::npos) << "this text is not formatted";
            EXPECT_LE(text.size(), kAny);
            EXPECT_LE(shown.size(), rule.bytes);
            EXPECT_GT(columns(shown), 0) << "empty, not UTF-8, or a character that cannot be shown";
            EXPECT_LE(columns(shown), rule.columns);
            EXPECT_EQ(text.starts_with(' '), kBlankBefore.contains(identifier));
            EXPECT_EQ(text.ends_with(' '), kBlankAfter.contains(identifier));
        }
    }
    std::setlocale(LC_CTYPE, "C");
}

TEST(CatalogueLint, LanguagesAndSourcesNameTheSameTexts) {
    const auto known = load("E_ctlpanel.rc");
    EXPECT_TRUE(std::ranges::equal(
        known, load("J_ctlpanel.rc"), {}, [](const auto& e) { return e.first; },
        [](const auto& j) { return j.first; }));
    // Names of environment variables have the same shape: arguments of getenv, setenv and the like, and
    // LC_...; so has a function that the trace names.
    const std::regex literal("(env\\()?\"(?!LC_|ZEL_IS_BLADE)([A-Z][A-Z0-9]+(?:_[A-Z0-9]+)+)\"");
    for (const auto& file : std::filesystem::recursive_directory_iterator(ZEL_SOURCE_DIR)) {
        if (!file.is_regular_file()) continue;
        const std::string source = read_file(file.path());
        for (std::sregex_iterator hit(source.begin(), source.end(), literal), end; hit != end; ++hit)
            EXPECT_TRUE((*hit)[1].matched || known.contains((*hit)[2]))
                << file.path() << " uses " << (*hit)[2];
    }
}

}  // namespace
