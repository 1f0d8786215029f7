// SPDX-License-Identifier: GPL-3.0-or-later
// The temperature and voltage panels: the same dialog with differences, so every case says what each does.
#include <sstream>

#include "panel_test.h"

namespace zeltest {
namespace {

const std::string kSensorTabs = "reg SOFTWARE/QUD/ZELAgent/CPL CplTabView=dword:0xC0\n";

class SensorsTest : public PanelTest, public testing::WithParamInterface<bool> {
  protected:
    SensorsTest() : PanelTest(GetParam() ? 7 : 8, ("TITTLE_" + id("_ID")).c_str()) {
        // The name in the menu is the title of most messages: it must differ from the panel's.
        catalogue("E_ctlpanel.rc", "\n[MAIN_TABNAME_" + id("_ID") + "]=\"Menu\"\n" +
                                       contents(folder() / "data" / "E_ctlpanel.rc"));
    }

    static bool is_temperature() { return GetParam(); }
    static std::string of(const char* temperature, const char* voltage) {
        return is_temperature() ? temperature : voltage;
    }

    static std::string locate() { return of("GetIpmiTempLocation", "GetIpmiVoltLocation"); }
    static std::string read() { return of("TempGetIpmiThreshold", "VoltGetIpmiThreshold"); }
    static std::string write() { return of("TempSetIpmiThreshold", "VoltpSetIpmiThreshold"); }

    /// The script of a server with these sensors, one a line.
    static std::string server(const std::string& sensors) {
        std::string script = kSensorTabs;
        std::istringstream each(sensors);
        int number = 0;
        for (std::string sensor; std::getline(each, sensor); ++number)
            script += of("temp", "volt") + "." + std::to_string(number) + "=" + sensor + "\n";
        return script;
    }

    static std::string id(const char* rest) { return of("TEMP", "VOL") + rest; }
    bool selected(const std::string& name) { return shows(text(id("_SENSOR_ID")) + "  " + name + " "); }
    /// The check box and the four entries, "x" behind disabled ones: "* 90 80 10 5x".
    std::string state() {
        std::string all = box(id("_ENABLE_ID"));
        for (const char* label : {"_HFATAL_ID", "_HWARNING_ID", "_LWARNING_ID", "_LFATAL_ID"})
            all += " " + entry(id(label));
        return all;
    }

    /// From the list and back: replaces the text of an entry, all being enabled; 0 is high fatal.
    static std::string type(int number, const std::string& typed) {
        const std::string moves = "Tab*" + std::to_string(number + 2) + " ";
        return moves + "End Backspace*3 " + typed + " S-" + moves;
    }
    static std::string set(const std::string& sensors) { return write() + "(" + sensors + ")"; }
};

INSTANTIATE_TEST_SUITE_P(, SensorsTest, testing::Bool(), [](const auto& kind) {
    return std::string(kind.param ? "Temperature" : "Voltage");
});

TEST_P(SensorsTest, OpensByTheFirstRecord) {
    for (const auto& [sensors, expected] :
         {Two{"A,0", "  90x 80x 10x 5x"}, Two{"A,-", of(" x 90 80 10 5", " x 90x 80x 10x 5x")},
          Two{"A,-,1,-,80\nB", of(" x 0x 80 10 5", " x 0x 80x 10x 5x")}, Two{"A,1,2", "* 0x 0x 0x 0x"},
          Two{"A,1,1,123456,0,-,-40", "* 123456 0 0x -40"}, Two{"", " x 0x 0x 0x 0x"}}) {
        SCOPED_TRACE(sensors);
        open(server(sensors));
        EXPECT_EQ(state(), expected);
        EXPECT_TRUE(!sensors.ends_with("B") || selected("B")) << "a sensor without setting is listed";
    }
    EXPECT_TRUE(selected("none"));
    EXPECT_EQ(opening(), locate() + "() " + read() + "(0)");
    EXPECT_EQ(ok(), set("0"));
    EXPECT_FALSE(is_open());
}

TEST_P(SensorsTest, MovingTheListKeepsWhatWasEntered) {
    open(server("A\nB,0,1,90,-\nC,1,0\nD,-\nE"));
    keys(type(0, "91") + type(1, "") + type(2, "11") + type(3, "6"));
    // Temperature restores from the first empty entry on, voltage the empty ones.
    const std::string first = of("91 80 10 5", "91 80 11 6");
    expect_steps([this] { return state(); },
                 {Step{"Down", "  90x 0x 10x 5x"}, Step{"Up", "* " + first},
                  Step{"Down Tab Space S-Tab Up Down", "* 90 0x 10 5"}, Step{"Down", "* 0x 0x 0x 0x"},
                  Step{"Tab Space S-Tab Up Down", "  0x 0x 0x 0x"}, Step{"Down", "* 90 80 10 5"},
                  // What was typed for a sensor is dropped with its monitoring; "-" reads as 0.
                  Step{type(0, "70") + "Tab Space S-Tab Up Down", "  90x 80x 10x 5x"},
                  Step{"Tab Space S-Tab " + type(3, "-") + "Up Down", "* 90 80 10 0"}});
    EXPECT_EQ(ok(), set("5,{1 1 " + first +
                        "},{0 1 90 - 10 5},{0 0 90 80 10 5},{0 - 90 80 10 5},{1 1 90 80 10 0}"));
}

TEST_P(SensorsTest, OkJudgesEveryMonitoredSensorAndMarksDifferences) {
    const std::string order = "Menu: COMPARISION_ID";
    const std::string range = "Menu: EXCESS_LIMITATION_ID";
    const std::string failed = "Menu: IPMISENSOR_SET_ID";
    const std::string limits = ",90,20,10,5";
    const std::string changed = set("1,{1 1 95 80 10 5}");
    const std::string retold = of("1|TempSetIpmiThreshold() failed.", "1|VoltpSetIpmiThreshold failed.");
    expect("", {Try{server("A,1,1,50,50"), "", "", order, false},
                Try{server("A,1,1,50,-,50,5"), "", "", order, false},
                Try{server("A,1,1,90,-,80,5"), "", set("1,{0 1 90 - 80 5}")},
                Try{server("A,1,1,-,-,-,-"), "", set("1,{0 1 - - - -}")},
                Try{server("A,1,1" + limits + limits), "", set("1,{0 1 90 20 10 5}")},
                Try{server("A,1,1,90,19,10,5" + limits), "", "", range, false},
                Try{server("A,1,1,90,20,10,4" + limits), "", "", range, false},
                Try{server("A,0,1,1,2,3,400"), "", set("1,{0 0 1 2 3 400}")},
                Try{server("A,1,0,1,2,3,400"), "", set("1,{0 1 1 2 3 400}")},
                Try{server("A\nB,5,1,80,90"), "", "", order, false},
                Try{server("A,1,1,101\nB,1,1,80,90"), "", "", range, false},
                // The selected sensor is then not the one shown, and takes the mark of the disabled box.
                Try{server("A,-,1,1,2,3,400\nB"), "", set("2,{0 - 1 2 3 400},{0 0 90 80 10 5}")},
                Try{server("A"), type(0, "95") + type(0, "90"), set("1,{0 1 90 80 10 5}")},
                Try{server("A\nB"), type(0, "95") + "Down", set("2,{1 1 95 80 10 5},{0 1 90 80 10 5}")},
                Try{server("A"), type(0, "95") + "Tab Space", set("1,{0 0 90 80 10 5}")},
                Try{server("A") + write() + "=0", type(0, "95"), changed, failed, false, retold},
                Try{server("A") + write() + "=-1,1", type(0, "95"), changed, failed, false}});
    EXPECT_EQ(ok(), changed);
    EXPECT_FALSE(is_open());
}

TEST_P(SensorsTest, EmptyEntriesAreRefused) {
    const std::string empty = text("INPUT_NULL_ID");
    // Temperature asks the sensor of the last OK whether it may be changed (at first sensor 0), voltage the
    // selected one. Sensor 0 is read only here.
    open(server("A,1,0\nB"));
    keys("Down " + type(1, ""));
    EXPECT_EQ(ok(), is_temperature() ? told("Menu: COMPARISION_ID") : empty);
    EXPECT_EQ(ok(), empty);
    keys("S-Tab*6 " + type(1, "60"));
    EXPECT_EQ(ok(), set("2,{0 1 90 80 10 5},{1 1 90 60 10 5}"));
    open(server("A"));
    keys(type(3, ""));
    EXPECT_EQ(ok(), empty);
    keys("S-Tab*5 Space");
    EXPECT_EQ(ok(), set("1,{0 0 90 80 10 5}"));
}

TEST_P(SensorsTest, AFailedReadShowsAMessageAndNoPanel) {
    const std::string failed = "Menu: IPMISENSOR_GET_ID";
    const std::string end = of("() failed.return FALSE.", " failed.return FALSE.");
    for (const auto& call : {locate(), read()}) {
        expect_no_panel({{server("A") + call + "=0", failed, "1|<" + call + end}});
        EXPECT_TRUE(traced(of("1|<GetTempValue failed.", "1|<GetVOLValue failed.")));
    }
    // Of a negative result the two panels think differently.
    open(server("A") + read() + "=-1");
    EXPECT_EQ(messages(), is_temperature() ? told(failed) : "");
    EXPECT_EQ(is_open(), !is_temperature());
}

TEST_P(SensorsTest, CountsAndNamesBeyondTheTablesAreCut) {
    const std::string most = of("512", "128");
    open(server(std::string(200, 'x') + "\nB\x1b[2J\x7f") + of("temp", "volt") + ".count=600");
    EXPECT_EQ(opening(), locate() + "() " + read() + "(" + most + ")");
    EXPECT_TRUE(selected(std::string(is_temperature() ? 29 : 22, 'x')));
    keys("Down");
    EXPECT_TRUE(selected("B?[2J?"));
    keys("End");
    EXPECT_TRUE(selected("S" + std::to_string(std::stoi(most) - 1)));
    EXPECT_TRUE(ok().starts_with(write() + "(" + most + ",{0 1 90 80 10 5},"));
    // Agent 3.8 has one more panel in front, and shows two rows more.
    open_panel(GetParam() ? 8 : 9, server("A") + "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8");
    EXPECT_EQ(state() + entry("VOL_HNORECO_ID") + entry("VOL_LNORECO_ID"), "* 90 80 10 50x0x");
}

}  // namespace
}  // namespace zeltest
