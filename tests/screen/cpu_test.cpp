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
const std::string kToCpus = "Tab*2 ";
const std::string kToEntries = kToCpus + "Tab*2 ";

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

TEST_F(CpuTest, ReadsEveryRowOnce) {
    open(kTwoCpus);
    EXPECT_EQ(opening(), "GetCpuDataFromRegistry() GetCpuThreshold(0) GetCpuThreshold(1) GetCpuThreshold(2)");
    expect_no_panel({{"GetCpuDataFromRegistry=1", "Error: HWERR_OPEN_ID",
                      "1|cpu|CpuPanel|<GetCpuDataFromRegistry() failed."}});
}

TEST_F(CpuTest, ChoicesFollowTheSettings) {
    for (const auto& [settings, typed, cycle] :
         {Three{"7,60", "", "1,60"}, Three{"-5,1800", "", "1,1800"}, Three{"20,86401", "", "20,604800"},
          Three{"2147483647,2147483647", "", "1,604800"}, Three{"60,300", "Up Down*2", "60,300"},
          Three{"1,60", "End Up Tab End Up", "30,86400"}}) {
        open(kRows + "cpu.settings=" + settings);
        keys(typed);
        press("OK");
        EXPECT_EQ(calls().at(0), "PutCycletoReg({" + cycle + "})") << settings;
    }
}

TEST_F(CpuTest, MovingTheCpuListKeepsWhatWasEdited) {
    open(kTwoCpus);
    expect_steps(
        [this] { return shown(); },
        {Step{"", "* 95 90 85 80 "},
         // TOTAL: fatal report emptied, fatal reset replaced, warning reset made shorter.
         Step{kToEntries + "Home Delete*2 Tab Backspace*2 12 Tab*2 Backspace", "*  12 85 8 "},
         Step{"S-Tab*5 Down", "* 94 84 74 64 "}, Step{"Down", "  93x 83x 73x 63x "},
         Step{"Down Home", "* 95 12 85 8 "},
         // TOTAL emptied once more and disabled: the stored value stays.
         Step{kToCpus + "Delete*2 S-Tab Space", "  x 12x 85x 8x "}, Step{"S-Tab End", "  93x 83x 73x 63x "},
         Step{"Tab Space", "* 93 83 73 63 "}, Step{"S-Tab Home", "  95x 12x 85x 8x "}});
    EXPECT_EQ(ok(), calls_of("cycle PutCpuThreshold(0,{0,95,12,85,8}) test1 put1 "
                             "TestInputCpuParameter({1,93,83,73,63}) PutCpuThreshold(2,{1,93,83,73,63})"));
    EXPECT_FALSE(is_open());
}

TEST_F(CpuTest, OkWritesInOrderAndStopsAtTheFirstError) {
    const std::string all = calls_of("cycle test0 put0 test1 put1 put2");
    const std::string tested = calls_of("cycle test0");
    const std::string test = "TestInputCpuParameter=";
    const std::string cpu1 = kToCpus + "Down ";
    expect(
        kTwoCpus,
        {Try{"", cpu1, all}, Try{"", kToEntries + "Backspace*2", calls_of("cycle"), "INPUT_NULL_ID", false},
         Try{"", cpu1 + "Tab*3 Delete*2", calls_of("cycle test0 put0"), "INPUT_NULL_ID", false},
         Try{test + "0x100", "", tested, "CPUERR_ORDER_ID", false},
         Try{test + "0x110", "", tested, "CPUERR_WARNSMALL_ID", false},
         Try{test + "0,0x111", "", calls_of("cycle test0 put0 test1"), "CPUERR_FATALBIG_ID", false},
         Try{test + "0x2,0", "", calls_of("cycle test0 test1 put1 put2"), "", false},
         Try{test + "0,0x1000", "", calls_of("cycle test0 put0 test1 put2")},
         Try{"PutCpuThreshold=1,1,0", "", all, "", false}, Try{"PutCpuThreshold=1,0,1", "", all},
         Try{"PutCycletoReg=0", "", all},
         Try{"cpu.row.1=2,94,84,74,64", "",
             calls_of("cycle test0 put0 PutCpuThreshold(1,{2,94,84,74,64}) put2")}});
}

TEST_F(CpuTest, ShowsEveryCpuThatThereCanBe) {
    open("cpu.settings=10,300,0,1,-2147483648");  // only TOTAL, and OK never closes
    keys(kToCpus + "Down End");
    EXPECT_EQ(highlighted(), "TOTAL");
    ok();
    EXPECT_TRUE(is_open());
    for (const auto& [count, last] : {std::pair("9", "9"), {"256", "256"}, {"2147483647", "8192"}}) {
        const std::string cpu = last;
        open(std::string("cpu.settings=10,300,2147483647,1,") + count + "\ncpu.row." + cpu + "=1,9,8,7,6");
        keys(kToCpus + "End");
        EXPECT_EQ(highlighted() + shown(), "CPU" + cpu + "* 9 8 7 6 ");
        // What was edited is still there after a look at another row.
        keys("Tab*2 Home Delete 10 S-Tab*2 Home End");
        EXPECT_TRUE(ok().ends_with(" PutCpuThreshold(" + cpu + ",{1,10,8,7,6})")) << tool().picture();
    }
}

}  // namespace
}  // namespace zeltest
