// SPDX-License-Identifier: GPL-3.0-or-later
// The CPU load panel: what it shows, how rows are edited, what OK asks of the agent and when the panel
// closes.
#include <utility>

#include "tool_fixture.h"

namespace zeltest {
namespace {

constexpr int kCpuRow = 1;

// Row: enabled, fatal report, fatal reset, warning report, warning reset. CPU2 is disabled.
const std::string kTwoCpus = R"(cpu.settings=10,300,0,1,2,95,90,85,80
cpu.row.0=1,95,90,85,80
cpu.row.1=1,94,84,74,64
cpu.row.2=0,93,83,73,63
)";
// Keys from the sampling list, which has the focus first; and from the list of CPUs.
const std::string kToCpus = "Tab Tab ";
const std::string kToEntries = kToCpus + "Tab Tab ";

class CpuTest : public ToolTest {
  protected:
    bool is_open() { return shows("┤ " + text("TITTLE_CPU_ID") + " ├"); }

    /// The four entries as shown: fatal report and reset, warning report and reset; "x" after a disabled one.
    std::string entries() {
        constexpr int kDisabledForeground = 8;
        std::string all;
        for (const char* label : {"CPU_FATAL_ID", "CPU_WARNING_ID"}) {
            for (const char* heading : {"CPU_REPORT_ID", "CPU_RESET_ID"}) {
                Position at{tool().find(text(label)).value().row, tool().find(text(heading)).value().column};
                const bool disabled = tool().cell(at).foreground == kDisabledForeground;
                for (; std::string_view("-0123456789").find(tool().cell(at).text) != std::string_view::npos;
                     ++at.column)
                    all += tool().cell(at).text;
                all += disabled ? "x " : " ";
            }
        }
        return all;
    }
    std::string mark() { return tool().cell(text("CPU_ENABLE_ID"), -3).text; }

    /// The calls since the last asking in one line, those with the values of kTwoCpus by short names.
    std::string short_calls() {
        static const std::map<std::string, std::string> known = {
            {"PutCycletoReg({10,300})", "cycle"},
            {"TestInputCpuParameter({1,95,90,85,80})", "test0"},
            {"PutCpuThreshold(0,{1,95,90,85,80})", "put0"},
            {"TestInputCpuParameter({1,94,84,74,64})", "test1"},
            {"PutCpuThreshold(1,{1,94,84,74,64})", "put1"},
            {"PutCpuThreshold(2,{0,93,83,73,63})", "put2"}};
        std::string all;
        for (const auto& call : calls()) {
            const auto found = known.find(call);
            all += (all.empty() ? "" : " ") + (found != known.end() ? found->second : call);
        }
        return all;
    }
};

TEST_F(CpuTest, ShowsTheSettingsReadOnceForEveryRow) {
    open_panel(kCpuRow, kTwoCpus);
    EXPECT_EQ(short_calls(),
              "GetCpuDataFromRegistry() GetCpuThreshold(0) GetCpuThreshold(1) GetCpuThreshold(2)");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Configuration of the ZEL Agent


                 ┌────────────────┤ CPU Load ├────────────────┐
                 │                                            │
                ┌│ Sampling interval (s)  10                  │
                ││ Utilisation cycle      5 minutes           │
                ││                                            │
                ││ CPU                    TOTAL               │
                ││                                            │
                ││ [*] Enable load monitoring                 │
                ││                           Report   Reset   │
                ││     Fatal (percent)       95_____  90_____ │
                ││     Warning (percent)     85_____  80_____ │
                ││                                            │
                ││           ┌────┐     ┌────────┐            │
                ││           │ OK │     │ Cancel │            │
                ││           └────┘     └────────┘            │
                └│                                            │
                 │                                            │
                 └────────────────────────────────────────────┘


  <Tab>/<Shift-Tab> move   <Space> mark   <Enter> choose   <Up>/<Down> list
)");
}

TEST_F(CpuTest, FailedReadShowsAMessageAndNoPanel) {
    open_panel(kCpuRow, "GetCpuDataFromRegistry=1");
    EXPECT_TRUE(shows("┤ Error ├") && shows(text("HWERR_OPEN_ID")) && shows("  ok  ")) << tool().picture();
    keys("Enter");
    EXPECT_FALSE(is_open());
    EXPECT_TRUE(traced("1|<GetCpuDataFromRegistry() failed."));
    EXPECT_EQ(short_calls(), "GetCpuDataFromRegistry()");
}

TEST_F(CpuTest, ChoicesFollowTheSettings) {
    struct Case {
        const char* settings;
        const char* keys;
        const char* sampling;
        const char* cycle;  // the number in its identifier
        const char* written;
    };
    const Case cases[] = {{"1,0", "", "1", "1", "1,60"},
                          {"7,60", "", "1", "1", "1,60"},
                          {"12,61", "", "12", "2", "12,300"},
                          {"-5,1800", "", "1", "3", "1,1800"},
                          {"2,3600", "", "2", "4", "2,3600"},
                          {"30,86400", "", "30", "5", "30,86400"},
                          {"20,86401", "", "20", "6", "20,604800"},
                          {"2147483647,2147483647", "", "1", "6", "1,604800"},
                          {"60,300", "Up Down Down", "60", "2", "60,300"},
                          {"1,60", "End Up Tab End Up S-Tab", "30", "5", "30,86400"}};
    for (const auto& [settings, typed, sampling, cycle, written] : cases) {
        SCOPED_TRACE(settings);
        open_panel(kCpuRow, "cpu.settings=" + std::string(settings));
        keys(typed);
        EXPECT_EQ(highlighted(), sampling);
        keys("Tab");
        EXPECT_EQ(highlighted(), text("CPU_CPUCYCLE" + std::string(cycle) + "_ID"));
        press("OK");
        EXPECT_EQ(calls().at(1), "PutCycletoReg({" + std::string(written) + "})");
    }
}

TEST_F(CpuTest, MovingTheCpuListKeepsWhatWasEdited) {
    open_panel(kCpuRow, kTwoCpus);
    calls();
    struct Step {
        std::string keys;
        const char* mark;
        const char* entries;
    };
    const Step steps[] = {
        {"", "*", "95 90 85 80 "},
        // TOTAL: fatal report emptied, fatal reset replaced, warning reset made shorter.
        {kToEntries + "Home Delete Delete Tab Backspace Backspace 12 Tab Tab Backspace", "*", " 12 85 8 "},
        {"S-Tab S-Tab S-Tab S-Tab S-Tab Down", "*", "94 84 74 64 "},
        {"Down", " ", "93x 83x 73x 63x "},
        {"Down Home", "*", "95 12 85 8 "},
        // TOTAL emptied once more and disabled: the stored value stays.
        {kToCpus + "Delete Delete S-Tab Space", " ", "x 12x 85x 8x "},
        {"S-Tab End", " ", "93x 83x 73x 63x "},
        {"Tab Space", "*", "93 83 73 63 "},
        {"S-Tab Home", " ", "95x 12x 85x 8x "},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.keys);
        keys(step.keys);
        EXPECT_EQ(mark(), step.mark);
        EXPECT_EQ(entries(), step.entries);
    }
    keys("Down");
    press("OK");
    EXPECT_EQ(short_calls(),
              "cycle PutCpuThreshold(0,{0,95,12,85,8}) test1 put1 "
              "TestInputCpuParameter({1,93,83,73,63}) PutCpuThreshold(2,{1,93,83,73,63})");
    EXPECT_FALSE(is_open());
}

TEST_F(CpuTest, OkWritesInOrderAndStopsAtTheFirstError) {
    const std::string all = "cycle test0 put0 test1 put1 put2";
    const std::string cpu1 = kToCpus + "Down ";
    struct Case {
        const char* script;
        std::string keys;  // before OK
        std::string calls;
        bool closes = false;
        const char* message = nullptr;
    };
    const Case cases[] = {
        {"", "", all, true},
        {"", cpu1, all, true},
        {"", kToEntries + "Backspace Backspace", "cycle", false, "INPUT_NULL_ID"},
        {"", cpu1 + "Tab Tab Tab Delete Delete", "cycle test0 put0", false, "INPUT_NULL_ID"},
        {"TestInputCpuParameter=0x1", "", "cycle test0", false, "CPUERR_FATALBIG_ID"},
        {"TestInputCpuParameter=0x10", "", "cycle test0", false, "CPUERR_WARNSMALL_ID"},
        {"TestInputCpuParameter=0x100", "", "cycle test0", false, "CPUERR_ORDER_ID"},
        {"TestInputCpuParameter=0x110", "", "cycle test0", false, "CPUERR_WARNSMALL_ID"},
        {"TestInputCpuParameter=0,0x111", "", "cycle test0 put0 test1", false, "CPUERR_FATALBIG_ID"},
        {"TestInputCpuParameter=0,0x300", cpu1, "cycle test0 put0 test1", false, "CPUERR_ORDER_ID"},
        {"TestInputCpuParameter=0x2,0", "", "cycle test0 test1 put1 put2"},
        {"TestInputCpuParameter=0,0x1000", "", "cycle test0 put0 test1 put2", true},
        {"PutCpuThreshold=0,1,1", "", all},
        {"PutCpuThreshold=1,1,0", "", all},
        {"PutCpuThreshold=1,0,1", "", all, true},
        {"PutCycletoReg=0", "", all, true},
        {"cpu.row.1=2,94,84,74,64", "", "cycle test0 put0 PutCpuThreshold(1,{2,94,84,74,64}) put2", true},
    };
    for (const auto& [script, typed, expected, closes, message] : cases) {
        SCOPED_TRACE(script + (", " + typed));
        open_panel(kCpuRow, kTwoCpus + script);
        keys(typed);
        calls();
        press("OK");
        EXPECT_EQ(short_calls(), expected);
        if (message != nullptr) {
            EXPECT_TRUE(shows(text(message)) && shows("  ok  ")) << tool().picture();
            keys("Enter");
        }
        EXPECT_EQ(is_open(), !closes) << tool().picture();
        EXPECT_EQ(short_calls(), "");
    }
}

TEST_F(CpuTest, OnlyTotalIsShownWithoutCpusAndOkNeverCloses) {
    for (const char* count : {"0", "-1", "-2147483648"}) {
        SCOPED_TRACE(count);
        open_panel(kCpuRow, "cpu.settings=10,300,0,1," + std::string(count) + ",95,90,85,80");
        keys(kToCpus + "Down End");
        EXPECT_EQ(short_calls(), "GetCpuDataFromRegistry()");
        EXPECT_EQ(highlighted(), "TOTAL");
        EXPECT_EQ(entries(), "95 90 85 80 ");
        press("OK");
        EXPECT_TRUE(is_open());
        press(text("BUTTON_CANCEL_ID"));
        EXPECT_FALSE(is_open());
    }
}

TEST_F(CpuTest, NineCpusAreTheMostShown) {
    open_panel(kCpuRow, "cpu.settings=10,300,0,1,2147483647,95,90,85,80\ncpu.row.9=1,9,8,7,6");
    EXPECT_EQ(calls().size(), 11U);
    keys(kToCpus + "End");
    EXPECT_EQ(highlighted(), "CPU9");
    EXPECT_EQ(entries(), "9 8 7 6 ");
    press("OK");
    EXPECT_EQ(calls().back(), "PutCpuThreshold(9,{1,9,8,7,6})");
    EXPECT_FALSE(is_open());
}

TEST_F(CpuTest, AnInitialRowOutsideTheTableIsHarmless) {
    for (const std::string row : {"-1", "3", "2147483647"}) {
        open_panel(kCpuRow, kTwoCpus + "cpu.settings=10,300," + row + ",1,2,95,90,85,80");
        keys(kToCpus + "Down Home");
        press("OK");
        EXPECT_FALSE(is_open());
    }
}

TEST_F(CpuTest, CancelAndHotKeysWriteNothing) {
    for (const char* key : {"Ctrl-O", "\x80", "Esc", "Cancel"}) {
        SCOPED_TRACE(key);
        open_panel(kCpuRow, kTwoCpus);
        calls();
        keys(kToEntries + "Backspace F12 S-Tab Ctrl-A");  // neither F12 nor Home leaves
        EXPECT_TRUE(is_open());
        if (key == std::string_view("Cancel")) {
            press(text("BUTTON_CANCEL_ID"));
        } else {
            keys(key);
        }
        EXPECT_FALSE(is_open()) << tool().picture();
        EXPECT_EQ(short_calls(), "");
    }
}

TEST_F(CpuTest, EntriesTakeNumbersOnly) {
    struct Case {
        const char* typed;
        std::string shown;
        std::string read;
    };
    for (const auto& [typed, shown, read] :
         {Case{"12ab.+ Space 3", "123", "123"}, Case{"-5-", "-5", "-5"}, Case{"0\u0665x7", "07", "7"},
          Case{"-", "-", "0"}, Case{"99999999999999999999", "9999999", "9999999"}}) {
        SCOPED_TRACE(typed);
        open_panel(kCpuRow, kTwoCpus);
        keys(kToEntries + "Backspace Backspace " + typed);
        EXPECT_EQ(entries(), shown + " 90 85 80 ");
        calls();
        press("OK");
        EXPECT_EQ(calls().at(1), "TestInputCpuParameter({1," + read + ",90,85,80})");
    }
}

}  // namespace
}  // namespace zeltest
