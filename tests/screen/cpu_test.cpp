// SPDX-License-Identifier: GPL-3.0-or-later
// The CPU load panel: what it shows, how rows are edited, what OK asks of the agent and when it closes.
#include <map>

#include "panel_test.h"

namespace zeltest {
namespace {

// Row: enabled, fatal report, fatal reset, warning report, warning reset. CPU2 is disabled.
const std::string kRows = "cpu.row.0=1,95,90,85,80\ncpu.row.1=1,94,84,74,64\ncpu.row.2=0,93,83,73,63\n";
const std::string kTwoCpus = "cpu.settings=10,300,0,1,2,95,90,85,80\n" + kRows;
// Keys from the sampling list, which has the focus first; and from the list of CPUs.
const std::string kToCpus = "Tab Tab ";
const std::string kToEntries = kToCpus + "Tab Tab ";

/// Calls with the values of kTwoCpus by short names.
std::string calls_of(std::string_view names) {
    static const std::map<std::string_view, std::string> known = {
        {"cycle", "PutCycletoReg({10,300})"},           {"test0", "TestInputCpuParameter({1,95,90,85,80})"},
        {"put0", "PutCpuThreshold(0,{1,95,90,85,80})"}, {"test1", "TestInputCpuParameter({1,94,84,74,64})"},
        {"put1", "PutCpuThreshold(1,{1,94,84,74,64})"}, {"put2", "PutCpuThreshold(2,{0,93,83,73,63})"}};
    std::string all;
    for (; !names.empty(); names.remove_prefix(std::min(names.find(' '), names.size() - 1) + 1)) {
        const auto name = names.substr(0, names.find(' '));
        all += (all.empty() ? "" : " ") + (known.contains(name) ? known.at(name) : std::string(name));
    }
    return all;
}

class CpuTest : public PanelTest {
  protected:
    CpuTest() : PanelTest(1, "TITTLE_CPU_ID") {}
    std::string shown() { return box("CPU_ENABLE_ID") + " " + thresholds("CPU_FATAL_ID", "CPU_WARNING_ID"); }
};

TEST_F(CpuTest, ShowsTheSettingsReadOnceForEveryRow) {
    open(kTwoCpus);
    EXPECT_EQ(opening(), "GetCpuDataFromRegistry() GetCpuThreshold(0) GetCpuThreshold(1) GetCpuThreshold(2)");
    EXPECT_EQ(picture(), R"(
                 ┌────────────────┤ CPU Load ├────────────────┐
                ┌│ Sampling interval (s)  10                  │
                ││ Utilisation cycle      5 minutes           │
                ││ CPU                    TOTAL               │
                ││ [*] Enable load monitoring                 │
                ││                           Report   Reset   │
                ││     Fatal (percent)       95_____  90_____ │
                ││     Warning (percent)     85_____  80_____ │
                ││           ┌────┐     ┌────────┐            │
                ││           │ OK │     │ Cancel │            │
                ││           └────┘     └────────┘            │
                └│                                            │
                 └────────────────────────────────────────────┘)");
    expect_no_panel(
        {{"GetCpuDataFromRegistry=1", "Error: HWERR_OPEN_ID", "1|<GetCpuDataFromRegistry() failed."}});
}

TEST_F(CpuTest, ChoicesFollowTheSettings) {
    for (const auto& [settings, typed, cycle] : {std::array<const char*, 3>{"1,0", "", "1,60"},
                                                 {"7,60", "", "1,60"},
                                                 {"12,61", "", "12,300"},
                                                 {"-5,1800", "", "1,1800"},
                                                 {"20,86401", "", "20,604800"},
                                                 {"2147483647,2147483647", "", "1,604800"},
                                                 {"60,300", "Up Down Down", "60,300"},
                                                 {"1,60", "End Up Tab End Up", "30,86400"}}) {
        open(kRows + "cpu.settings=" + settings);
        keys(typed);
        press("OK");
        EXPECT_EQ(calls().at(0), "PutCycletoReg({" + std::string(cycle) + "})") << settings;
    }
}

TEST_F(CpuTest, MovingTheCpuListKeepsWhatWasEdited) {
    open(kTwoCpus);
    expect_steps(
        [this] { return shown(); },
        {{"", "* 95 90 85 80 "},
         // TOTAL: fatal report emptied, fatal reset replaced, warning reset made shorter.
         {kToEntries + "Home Delete Delete Tab Backspace Backspace 12 Tab Tab Backspace", "*  12 85 8 "},
         {"S-Tab S-Tab S-Tab S-Tab S-Tab Down", "* 94 84 74 64 "},
         {"Down", "  93x 83x 73x 63x "},
         {"Down Home", "* 95 12 85 8 "},
         // TOTAL emptied once more and disabled: the stored value stays.
         {kToCpus + "Delete Delete S-Tab Space", "  x 12x 85x 8x "},
         {"S-Tab End", "  93x 83x 73x 63x "},
         {"Tab Space", "* 93 83 73 63 "},
         {"S-Tab Home", "  95x 12x 85x 8x "}});
    EXPECT_EQ(ok(), calls_of("cycle PutCpuThreshold(0,{0,95,12,85,8}) test1 put1 "
                             "TestInputCpuParameter({1,93,83,73,63}) PutCpuThreshold(2,{1,93,83,73,63})"));
    EXPECT_FALSE(is_open());
}

TEST_F(CpuTest, OkWritesInOrderAndStopsAtTheFirstError) {
    const std::string all = calls_of("cycle test0 put0 test1 put1 put2");
    const std::string tested = calls_of("cycle test0");
    const std::string test = "TestInputCpuParameter=";
    const std::string cpu1 = kToCpus + "Down ";
    expect(kTwoCpus,
           {{"", cpu1, all},
            {"", kToEntries + "Backspace Backspace", calls_of("cycle"), "INPUT_NULL_ID", false},
            {"", cpu1 + "Tab Tab Tab Delete Delete", calls_of("cycle test0 put0"), "INPUT_NULL_ID", false},
            {test + "0x1", "", tested, "CPUERR_FATALBIG_ID", false},
            {test + "0x100", "", tested, "CPUERR_ORDER_ID", false},
            {test + "0x110", "", tested, "CPUERR_WARNSMALL_ID", false},
            {test + "0,0x111", "", calls_of("cycle test0 put0 test1"), "CPUERR_FATALBIG_ID", false},
            {test + "0x2,0", "", calls_of("cycle test0 test1 put1 put2"), "", false},
            {test + "0,0x1000", "", calls_of("cycle test0 put0 test1 put2")},
            {"PutCpuThreshold=0,1,1", "", all, "", false},
            {"PutCpuThreshold=1,1,0", "", all, "", false},
            {"PutCpuThreshold=1,0,1", "", all},
            {"PutCycletoReg=0", "", all},
            {"cpu.row.1=2,94,84,74,64", "",
             calls_of("cycle test0 put0 PutCpuThreshold(1,{2,94,84,74,64}) put2")}});
}

TEST_F(CpuTest, CountsOutsideTheTableAreHarmless) {
    for (const char* count : {"0", "-2147483648"}) {  // only TOTAL, and OK never closes
        open("cpu.settings=10,300,0,1," + std::string(count) + ",95,90,85,80");
        keys(kToCpus + "Down End");
        EXPECT_EQ(opening(), "GetCpuDataFromRegistry()");
        EXPECT_EQ(highlighted(), "TOTAL");
        ok();
        EXPECT_TRUE(is_open());
    }
    open("cpu.settings=10,300,0,1,2147483647,95,90,85,80\ncpu.row.9=1,9,8,7,6");
    keys(kToCpus + "End");
    EXPECT_EQ(highlighted() + shown(), "CPU9* 9 8 7 6 ");
    EXPECT_TRUE(ok().ends_with(" PutCpuThreshold(9,{1,9,8,7,6})"));
    for (const std::string row : {"-1", "3", "2147483647"}) {
        open(kRows + "cpu.settings=10,300," + row + ",1,2,95,90,85,80");
        keys(kToCpus + "Down Home");
        ok();
        EXPECT_FALSE(is_open());
    }
}

TEST_F(CpuTest, EntriesTakeNumbersOnly) {
    for (const auto& [typed, entered, read] : {std::array<std::string, 3>{"12ab.+ Space 3", "123", "123"},
                                               {"-5-", "-5", "-5"},
                                               {"-", "-", "0"},
                                               {"0\u0665x7", "07", "7"},
                                               {"99999999999999999999", "9999999", "9999999"}}) {
        open(kTwoCpus);
        keys(kToEntries + "Backspace Backspace " + typed);
        EXPECT_EQ(shown(), "* " + entered + " 90 85 80 ");
        press("OK");
        EXPECT_EQ(calls().at(1), "TestInputCpuParameter({1," + read + ",90,85,80})");
    }
}

}  // namespace
}  // namespace zeltest
