// SPDX-License-Identifier: GPL-3.0-or-later
#include <agntconf/columns.h>
#include <agntconf/readstrfile.h>
#include <gtest/gtest.h>

#include <clocale>
#include <csignal>
#include <cstring>
#include <new>
#include <random>

#include "../../src/common/terminal.h"
#include "chars/plain.h"

namespace zel {
namespace {

std::string look_up(const std::string& catalogue) {
    char destination[kTextBufferSize];
    return CPGetText("X_ID", destination, catalogue.c_str());
}

TEST(Catalogue, FindsTextsByIdentifierAndCutsLongOnesOutsideACharacter) {
    const std::string none = "No Such Name";
    for (const auto& [catalogue, text] :
         {std::pair<std::string, std::string>{"[X_ID]=\"one\"\n[X_ID2]=\"two\"\n", "one"},
          {"[X_ID2]=\"two\"\n[X_ID]=\"one\"\n", "two"},
          {"[X_ID]=abc\"\n", "abc"},
          {"[X_ID]=\"two\nlines\"\n", "two\nlines"},
          {"[X_ID]\n=\"later line\"\n", "later line"},
          {"[X_ID]=\"last\"", "last"},
          {"[x_id]=\"case\"\n", none},
          {"[X_ID]=\"\"\n", none},
          {"[X_ID]=\"never closed\n[Y_ID]", none},
          {"[X_ID", none},
          {"[X_I", none},
          {"no line feed", none},
          {"; a comment\n\n  [X_ID]=\"no\"\n[A_ID]=\"a\"\n[X_ID]=\"yes\"\n", "yes"}})
        EXPECT_EQ(look_up(catalogue), text) << catalogue;
    EXPECT_EQ(look_up("[X_ID]=\"" + std::string(5000, 'x') + "\"\n").size(), 1023U);
    std::string kanji = "x";
    while (kanji.size() < 1500)
        kanji += "電";
    EXPECT_EQ(look_up("[X_ID]=\"" + kanji + "\"\n"), kanji.substr(0, 1 + 340 * 3));
}

TEST(FormatText, TakesOnlyTheConversionsThatItWasGivenArgumentsFor) {
    EXPECT_EQ(format_text("100 %% of %d to %d", {-5, 3600}), "100 % of -5 to 3600");
    EXPECT_EQ(format_text("call %s failed", {"%d"}), "call %d failed");
    EXPECT_EQ(format_text("%s %d %n %5d %", {1}), "%s 1 %n %5d %");
    EXPECT_EQ(format_text("%d%d", {1, 2}, 1), "1");
    EXPECT_EQ(format_text("電電", {}, 5), "電");
}

TEST(Plain, LogsShowEveryByteThatIsNotPlain) {
    for (const auto& [text, logged] :
         {std::pair<std::string, std::string>{"架台 R1 \\", "架台 R1 \\"},
          {"a\n\t\033[2J\x7F", R"(a\n\t\x1b[2J\x7f)"},
          {"\u009B|\x9B|\u202E|\u200F|\u2069", R"(\xc2\x9b|\x9b|\xe2\x80\xae|\xe2\x80\x8f|\xe2\x81\xa9)"},
          {"\xED\xA0\x80\xC0\x80\xE9\x9B", R"(\xed\xa0\x80\xc0\x80\xe9\x9b)"}})
        EXPECT_EQ(chars::escaped(text), logged);
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        std::string noise(random() % 12, '\0');
        for (char& byte : noise)
            byte = "\x1B\x9B\xC2\xE2\x80\xAE\xA8\x8F\x81\xD8\x9Cz"[random() % 12];
        const std::string logged = chars::escaped(noise);
        EXPECT_EQ(chars::plain_prefix(logged), logged.size());
        EXPECT_EQ(chars::escaped(logged), logged);
        EXPECT_EQ(logged == noise, chars::plain_prefix(noise) == noise.size());
    }
}

[[noreturn]] void run_out_of_memory() {
    throw std::bad_alloc();
}

TEST(Endings, NeitherAReaderThatLeftNorMemoryThatRanOutKillsTheProgram) {
    const auto panel = []() noexcept {
        prepare_endings();
        std::raise(SIGPIPE);
        run_out_of_memory();
    };
    EXPECT_EXIT(panel(), testing::ExitedWithCode(0), "there is not enough memory");
}

TEST(Columns, FitTextsAsTheScreenShowsThem) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    struct Case {
        const char* text;
        int columns;
        const char* fitted;
    };
    for (const Case& c :
         {Case{"CPU", 5, "CPU  "}, Case{"abcdef", 4, "abcd"}, Case{"全般設定", 5, "全般 "}, Case{"", 2, "  "},
          Case{"a\tb", 3, "a?b"}, Case{"\xE5\x85", 4, "??  "}, Case{"ﾒﾓﾘ", 3, "ﾒﾓﾘ"},
          Case{"a\u202Eb\u2066", 4, "a?b?"}, Case{"\u009B\x9B\u0085", 3, "???"}})
        EXPECT_EQ(fit(c.text, c.columns), c.fitted);
    EXPECT_EQ(cut_bytes("全般", 4), "全");
    EXPECT_EQ(cut_bytes("\x80\x80\x80\x80\x80", 3), "\x80\x80\x80");
    EXPECT_EQ(abbreviate("全般設定の名前", 9), "全般設...");
    EXPECT_EQ(printable_lines("a\tb\n\u202Ec\n"), "a?b\n?c\n");
    EXPECT_FALSE(recode_for_screen("CPU 負荷", 4));
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    const Buffer plain = recode_for_screen("CPU 負荷!", 4);
    EXPECT_EQ(std::memcmp(plain.get(), "CPU \?\?!\0\0\0\0", 11), 0);
    EXPECT_FALSE(recode_for_screen("CPU \xC9\xE9\xB2\xD9", 4));  // in the terminal's character set already
}

}  // namespace
}  // namespace zel
