// SPDX-License-Identifier: GPL-3.0-or-later
// Checks the shipped message catalogues. The look-up has no bounds of its own and the panels build fixed
// layouts and formats around the texts, so a text that is too long or takes other arguments is a fault of the
// product.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr size_t kAny = 1023;             // bytes that the look-up's buffer holds
constexpr const char* kAsItStands = "-";  // shown without formatting: no percent sign at all

/// What a text has to keep; the first rule whose pattern matches counts. Bytes and columns count with the
/// longest arguments put in.
struct Rule {
    std::regex identifiers;
    size_t bytes;             ///< most bytes of UTF-8
    int columns;              ///< most columns of the screen
    std::string conversions;  ///< their letters in order, or kAsItStands
};

std::regex ids(const char* pattern) {
    return std::regex(pattern);
}

const std::vector<Rule> kRules{
    {ids("MAIN_ROOTTEXT_ID"), 87, 80, ""},  // goes through a formatter without arguments
    {ids("MAIN_HELPLINE_ID"), kAny, 78, kAsItStands},
    {ids("MAIN_TABNAME_.*"), 40, 30, kAsItStands},
    {ids("TITTLE_MOVAL_ID"), 99, 40, kAsItStands},
    {ids("TITTLE_.*|MOVALWARN_REBOOT_ID"), kAny, 40, kAsItStands},
    {ids("STOGSUB_THRESHOLD1_ID"), kAny, 11, kAsItStands},  // follows a device's name of up to 29 columns
    {ids("MOVAL_REBOOTNOW_ID"), kAny, 50, kAsItStands},     // the Cancel button stands to the right of it
    {ids("BUTTON_.*|MYLEX_THRESHOLD_ID|STOG_(RESET|DEFAULT)_ID"), kAny, 12, kAsItStands},
    {ids("CPU_CPUCYCLE.*"), 15, 15, kAsItStands},
    {ids("CPU_(REPORT|RESET)_ID"), 12, 12, kAsItStands},  // their bytes set the width of the entries
    {ids("STOGSUB_.*ERR_ID"), 31, 31, kAsItStands},
    {ids("SHUTDOWN_.*ACTION.*"), kAny, 22, kAsItStands},
    {ids("FUNC_CALL_ERR"), 99, 70, "s"},
    {ids("MYLEXERR_INTERVAL_ID|SDERR_RANGE_ID|SYSLOG_SETTING_ERR_ID"), 79, 70, "dd"},
    {ids("WDTERR_.*"), 159, 70, "dd"},
    {ids("LANERR_.*|(FILE|STOR)ERR_INTERVAL_ID|TEMPERR_THRESHOLD_ID"), kAny, 70, "dd"},
    {ids("MOVALERR_.*"), 99, 70, kAsItStands},
    {ids(".*ERR_.*|INPUT_NULL_ID|COMPARISION_ID|EXCESS_.*|IPMISENSOR_.*"), kAny, 70, kAsItStands},
    {ids("CPU_ENABLE_ID"), kAny, 30, kAsItStands},  // widens the first column of the thresholds
    {ids(".*_(ENABLE|ENABLECP|ENABLEBY|DISABLE|PERMIT|HANG|FORBID|CHECK.)_ID"), kAny, 60, kAsItStands},
    {ids(".*"), kAny, 30, kAsItStands},  // labels
};

// Blanks at an edge keep a text off the device name before it or the field after it; nowhere else are they
// meant.
const std::set<std::string_view> kBlankBefore{"MAIN_HELPLINE_ID", "STOGSUB_THRESHOLD1_ID"};
const std::set<std::string_view> kBlankAfter{"CPU_SAMPLE_ID", "FILE_DEVICE_ID", "FILE_FATAL_ID",
                                             "FILE_WARNING_ID"};

constexpr std::array kFiles{"E_ctlpanel.rc", "J_ctlpanel.rc"};

struct Entry {
    std::string identifier;
    std::string text;
};

std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// The entries of a catalogue in file order. A line that is neither comment nor entry is a failure, as also a
/// line of a text that runs over several.
std::vector<Entry> load(const char* name) {
    static const std::regex shape("\\[([A-Z][A-Z0-9]+(?:_[A-Z0-9]+)+)\\]=\"([^\"]*)\"");
    const std::string all = read_file(std::filesystem::path(ZEL_DATA_DIR) / name);
    EXPECT_TRUE(all.ends_with('\n')) << name << " is missing or its last line has no line feed";
    std::istringstream lines(all);
    std::vector<Entry> entries;
    std::smatch parts;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == ';' || line.front() == '#') continue;
        if (std::regex_match(line, parts, shape)) {
            entries.push_back({parts[1], parts[2]});
        } else {
            ADD_FAILURE() << name << " holds a line that is neither comment nor entry: " << line;
        }
    }
    return entries;
}

std::set<std::string> identifiers(const char* name) {
    std::set<std::string> result;
    for (const Entry& entry : load(name))
        result.insert(entry.identifier);
    return result;
}

const Rule& rule_of(const std::string& identifier) {
    return *std::ranges::find_if(
        kRules, [&](const Rule& rule) { return std::regex_match(identifier, rule.identifiers); });
}

struct Formatted {
    std::string text;
    std::string conversions;  ///< '?' for one that the formatter does not take
};

/// Puts in the longest arguments that the panels pass.
Formatted format(std::string_view text) {
    Formatted result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result.text += text[i];
            continue;
        }
        const char letter = ++i < text.size() ? text[i] : '\0';
        if (letter != '%') result.conversions += letter == 'd' || letter == 's' ? letter : '?';
        result.text += letter == 'd' ? "3600" : letter == 's' ? "Mylex_ReadThresholdFromFile" : "%";
    }
    return result;
}

/// Columns on the screen; -1 when the text is no UTF-8 or holds a character that cannot be shown.
int columns(const std::string& text) {
    std::mbstate_t state{};
    int sum = 0;
    for (size_t at = 0; at < text.size();) {
        wchar_t wide = 0;
        const size_t taken = std::mbrtowc(&wide, text.data() + at, text.size() - at, &state);
        if (taken == 0 || taken > text.size() - at) return -1;
        const int width = wcwidth(wide);
        if (width < 1) return -1;
        sum += width;
        at += taken;
    }
    return sum;
}

class CatalogueLint : public testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
    void TearDown() override { EXPECT_NE(std::setlocale(LC_CTYPE, "C"), nullptr); }
};

TEST_F(CatalogueLint, EveryLineIsCommentOrEntryAndEveryEntryCanBeFound) {
    for (const char* name : kFiles) {
        const std::vector<Entry> entries = load(name);
        for (const Entry& entry : entries) {
            for (const Entry& other : entries) {
                EXPECT_TRUE(&entry == &other || !other.identifier.starts_with(entry.identifier))
                    << name << ": " << entry.identifier << " is the beginning of " << other.identifier;
            }
        }
    }
}

TEST_F(CatalogueLint, TextsKeepTheirLimitsAndConversions) {
    for (const char* name : kFiles) {
        for (const auto& [identifier, text] : load(name)) {
            SCOPED_TRACE(testing::Message() << name << ": " << identifier << " = " << text);
            const Rule& rule = rule_of(identifier);
            const bool plain = rule.conversions == kAsItStands;
            const Formatted shown = plain ? Formatted{text, "-"} : format(text);
            EXPECT_FALSE(text.empty());
            EXPECT_LE(text.size(), kAny);
            EXPECT_LE(shown.text.size(), rule.bytes);
            EXPECT_GT(columns(shown.text), 0) << "not UTF-8, or a character that cannot be shown";
            EXPECT_LE(columns(shown.text), rule.columns);
            EXPECT_EQ(shown.conversions, rule.conversions);
            EXPECT_FALSE(plain && text.find('%') != std::string::npos) << "this text is not formatted";
            EXPECT_EQ(text.starts_with(' '), kBlankBefore.contains(identifier));
            EXPECT_EQ(text.ends_with(' '), kBlankAfter.contains(identifier));
        }
    }
}

TEST_F(CatalogueLint, LanguagesHoldTheSameIdentifiersAndEveryRuleApplies) {
    const std::set<std::string> known = identifiers(kFiles[0]);
    EXPECT_FALSE(known.empty());
    EXPECT_EQ(known, identifiers(kFiles[1]));
    for (const Rule& rule : kRules) {
        EXPECT_TRUE(std::ranges::any_of(known, [&](const auto& id) { return &rule_of(id) == &rule; }))
            << "no text falls under rule number " << &rule - kRules.data();
    }
}

TEST_F(CatalogueLint, EveryIdentifierInTheSourcesHasAText) {
    // Names of environment variables have the same shape: arguments of getenv, setenv and the like, and
    // LC_...
    const std::regex literal("(env\\()?\"(?!LC_)([A-Z][A-Z0-9]+(?:_[A-Z0-9]+)+)\"");
    const std::set<std::string> known = identifiers(kFiles[0]);
    size_t used = 0;
    for (const auto& file : std::filesystem::recursive_directory_iterator(ZEL_SOURCE_DIR)) {
        if (!file.is_regular_file()) continue;
        const std::string source = read_file(file.path());
        for (std::sregex_iterator hit(source.begin(), source.end(), literal), end; hit != end; ++hit) {
            if ((*hit)[1].matched) continue;
            ++used;
            EXPECT_TRUE(known.contains((*hit)[2])) << file.path() << " uses " << (*hit)[2];
        }
    }
    if (used == 0) GTEST_SKIP() << "the sources use no text yet";
}

}  // namespace
