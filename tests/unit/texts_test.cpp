// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>

#include "../../src/common/columns.h"
#include "../../src/common/readstrfile.h"

namespace zel {
namespace {

std::string look_up(const std::string& catalogue, const char* identifier) {
    char destination[kTextBufferSize];
    return CPGetText(identifier, destination, catalogue.c_str());
}

TEST(Catalogue, FindsTextsByIdentifier) {
    struct Case {
        const char* catalogue;
        const char* identifier;
        const char* text;
    };
    const std::string entry_after_noise = "; a comment\n\n  [X_ID]=\"no\"\n[A_ID]=\"a\"\n[X_ID]=\"yes\"\n";
    for (const Case& c : {
             Case{"[X_ID]=\"one\"\n[X_ID2]=\"two\"\n", "X_ID", "one"},
             Case{"[X_ID]=\"one\"\n[X_ID2]=\"two\"\n", "X_ID2", "two"},
             Case{"[X_ID2]=\"two\"\n[X_ID]=\"one\"\n", "X_ID", "two"},
             Case{"[X_ID]=abc\"\n", "X_ID", "abc"},
             Case{"[X_ID]=\"two\nlines\"\n", "X_ID", "two\nlines"},
             Case{"[X_ID]\n=\"later line\"\n", "X_ID", "later line"},
             Case{"[X_ID]=\"last\"", "X_ID", "last"},
             Case{"[x_id]=\"case\"\n", "X_ID", "No Such Name"},
             Case{"[X_ID]=\"\"\n", "X_ID", "No Such Name"},
             Case{"[X_ID]=\"never closed\n[Y_ID]", "X_ID", "No Such Name"},
             Case{"[X_ID", "X_ID", "No Such Name"},
             Case{"[X_I", "X_ID", "No Such Name"},
             Case{"no line feed", "X_ID", "No Such Name"},
             Case{entry_after_noise.c_str(), "X_ID", "yes"},
         })
        EXPECT_EQ(look_up(c.catalogue, c.identifier), c.text) << c.catalogue;
}

TEST(Catalogue, CutsATextThatIsTooLongOutsideACharacter) {
    const std::string ascii(5000, 'x');
    EXPECT_EQ(look_up("[X_ID]=\"" + ascii + "\"\n", "X_ID").size(), 1023U);
    const std::string kanji = [] {
        std::string s = "x";
        for (int i = 0; i < 500; ++i)
            s += "電";
        return s;
    }();
    EXPECT_EQ(look_up("[X_ID]=\"" + kanji + "\"\n", "X_ID"), kanji.substr(0, 1 + 340 * 3));
}

TEST(FormatText, TakesOnlyTheConversionsThatItWasGivenArgumentsFor) {
    EXPECT_EQ(format_text("%d to %d", {1, 3600}), "1 to 3600");
    EXPECT_EQ(format_text("100 %% of %d", {5}), "100 % of 5");
    EXPECT_EQ(format_text("call %s failed", {"malloc"}), "call malloc failed");
    EXPECT_EQ(format_text("%s %d %n %5d %", {1}), "%s 1 %n %5d %");
    EXPECT_EQ(format_text("%d %d", {-7}), "-7 %d");
    EXPECT_EQ(format_text("%d%d", {1, 2}, 1), "1");
    EXPECT_EQ(format_text("電電", {}, 5), "電");
    EXPECT_EQ(format_text("%s", {"%d"}), "%d");
}

TEST(Columns, FitTextsAsTheScreenShowsThem) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    struct Case {
        const char* text;
        int columns;
        const char* fitted;
    };
    for (const Case& c : {Case{"CPU", 5, "CPU  "}, Case{"abcdef", 4, "abcd"}, Case{"全般", 6, "全般  "},
                          Case{"全般設定", 5, "全般 "}, Case{"", 2, "  "}, Case{"a\tb", 3, "a?b"},
                          Case{"\xE5\x85", 4, "??  "}, Case{"ﾒﾓﾘ", 3, "ﾒﾓﾘ"}})
        EXPECT_EQ(fit(c.text, c.columns), c.fitted);
    EXPECT_EQ(columns_of("CPU 負荷"), 8);
    EXPECT_EQ(cut_bytes("全般", 4), "全");
    EXPECT_EQ(cut_bytes("\x80\x80\x80\x80\x80", 3), "\x80\x80\x80");
}

TEST(Columns, RecodeForATerminalThatIsNotUtf8) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    const Buffer plain = recode_for_screen("CPU 負荷\xFF!", 4);
    ASSERT_TRUE(plain);
    EXPECT_STREQ(plain.get(), "CPU \?\?\?!");
    EXPECT_EQ(std::memcmp(plain.get() + 8, "\0\0\0\0", 4), 0);
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_FALSE(recode_for_screen("CPU 負荷", 4));
}

}  // namespace
}  // namespace zel
