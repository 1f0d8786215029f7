// SPDX-License-Identifier: GPL-3.0-or-later
// The temperature and voltage panels: the same dialog with differences, so every case says what each does.
#include <fstream>
#include <sstream>

#include "panel_test.h"

namespace zeltest {
namespace {

const std::string kSensorTabs = "reg SOFTWARE/QUD/ZELAgent/CPL CplTabView=dword:0xC0\n";

struct Kind {
    const char* name;
    int row;
    std::string line;    // as the scripted agent calls its sensors
    std::string prefix;  // of identifiers
    std::string locate;
    std::string read;
    std::string write;
};

const Kind kTemperature = {
    "Temperature", 7, "temp", "TEMP", "GetIpmiTempLocation", "TempGetIpmiThreshold", "TempSetIpmiThreshold"};
const Kind kVoltage = {
    "Voltage", 8, "volt", "VOL", "GetIpmiVoltLocation", "VoltGetIpmiThreshold", "VoltpSetIpmiThreshold"};

class SensorsTest : public PanelTest, public testing::WithParamInterface<Kind> {
  protected:
    SensorsTest() : PanelTest(GetParam().row, ("TITTLE_" + GetParam().prefix + "_ID").c_str()) {
        // The name in the menu is the title of most messages: it must differ from the panel's.
        std::ostringstream texts;
        texts << std::ifstream(folder() / "data" / "E_ctlpanel.rc").rdbuf();
        catalogue("E_ctlpanel.rc", "\n[MAIN_TABNAME_" + GetParam().prefix + "_ID]=\"Menu\"\n" + texts.str());
    }

    static bool is_temperature() { return GetParam().row == kTemperature.row; }
    static std::string of(const char* temperature, const char* voltage) {
        return is_temperature() ? temperature : voltage;
    }

    /// The script of a server with these sensors, one a line.
    static std::string server(const std::string& sensors) {
        std::string script = kSensorTabs;
        std::istringstream each(sensors);
        int number = 0;
        for (std::string sensor; std::getline(each, sensor); ++number)
            script += GetParam().line + "." + std::to_string(number) + "=" + sensor + "\n";
        return script;
    }

    static std::string id(const char* rest) { return GetParam().prefix + rest; }
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
        std::string there;
        std::string back;
        for (int i = 0; i < number + 2; ++i) {
            there += "Tab ";
            back += "S-Tab ";
        }
        return there + "End Backspace Backspace Backspace " + typed + " " + back;
    }
    static std::string set(const std::string& sensors) { return GetParam().write + "(" + sensors + ")"; }
};

INSTANTIATE_TEST_SUITE_P(, SensorsTest, testing::Values(kTemperature, kVoltage),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(SensorsTest, OpensByTheFirstRecord) {
    for (const auto& [sensors, expected] : {std::pair<std::string, std::string>{"A,0", "  90x 80x 10x 5x"},
                                            {"A,5", "* 90 80 10 5"},
                                            {"A,-", of(" x 90 80 10 5", " x 90x 80x 10x 5x")},
                                            {"A,-,1,-,80\nB", of(" x 0x 80 10 5", " x 0x 80x 10x 5x")},
                                            {"A,-,0", " x 0x 0x 0x 0x"},
                                            {"A,1,2", "* 0x 0x 0x 0x"},
                                            {"A,1,1,123456,0,-,-40", "* 123456 0 0x -40"},
                                            {"", " x 0x 0x 0x 0x"}}) {
        SCOPED_TRACE(sensors);
        open(server(sensors));
        EXPECT_EQ(state(), expected);
        EXPECT_TRUE(!sensors.ends_with("B") || selected("B")) << "a sensor without setting is listed";
    }
    EXPECT_TRUE(selected("none"));
    EXPECT_EQ(opening(), GetParam().locate + "() " + GetParam().read + "(0)");
    EXPECT_EQ(ok(), set("0"));
    EXPECT_FALSE(is_open());
}

TEST_P(SensorsTest, MovingTheListKeepsWhatWasEntered) {
    open(server("A\nB,0,1,90,-\nC,1,0\nD,-\nE"));
    keys(type(0, "91") + type(1, "") + type(2, "11") + type(3, "6"));
    // Temperature restores from the first empty entry on, voltage the empty ones.
    const std::string first = of("91 80 10 5", "91 80 11 6");
    expect_steps([this] { return state(); },
                 {{"Down", "  90x 0x 10x 5x"},
                  {"Up", "* " + first},
                  {"Down Tab Space S-Tab Up Down", "* 90 0x 10 5"},
                  {"Down", "* 0x 0x 0x 0x"},
                  {"Tab Space S-Tab Up Down", "  0x 0x 0x 0x"},
                  {"Down", "* 90 80 10 5"},
                  // What was typed for a sensor is dropped with its monitoring; "-" reads as 0.
                  {type(0, "70") + "Tab Space S-Tab Up Down", "  90x 80x 10x 5x"},
                  {"Tab Space S-Tab " + type(3, "-") + "Up Down", "* 90 80 10 0"}});
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
    expect("", {{server("A,1,1,50,50"), "", "", order, false},
                {server("A,1,1,90,80,10,10"), "", "", order, false},
                {server("A,1,1,50,-,50,5"), "", "", order, false},
                {server("A,1,1,90,-,80,5"), "", set("1,{0 1 90 - 80 5}")},
                {server("A,1,1,-,-,-,-"), "", set("1,{0 1 - - - -}")},
                {server("A,1,1" + limits + limits), "", set("1,{0 1 90 20 10 5}")},
                {server("A,1,1,91,20,10,5" + limits), "", "", range, false},
                {server("A,1,1,90,19,10,5" + limits), "", "", range, false},
                {server("A,1,1,90,20,11,5" + limits), "", "", range, false},
                {server("A,1,1,90,20,10,4" + limits), "", "", range, false},
                {server("A,0,1,1,2,3,400"), "", set("1,{0 0 1 2 3 400}")},
                {server("A,1,0,1,2,3,400"), "", set("1,{0 1 1 2 3 400}")},
                {server("A\nB,5,1,80,90"), "", "", order, false},
                {server("A,1,1,80,90\nB,1,1,101"), "", "", order, false},
                {server("A,1,1,101\nB,1,1,80,90"), "", "", range, false},
                // The selected sensor is then not the one shown, and takes the mark of the disabled box.
                {server("A,-,1,1,2,3,400\nB"), "", set("2,{0 - 1 2 3 400},{0 0 90 80 10 5}")},
                {server("A"), type(0, "95") + type(0, "90"), set("1,{0 1 90 80 10 5}")},
                {server("A\nB"), type(0, "95") + "Down", set("2,{1 1 95 80 10 5},{0 1 90 80 10 5}")},
                {server("A"), type(0, "95") + "Tab Space", set("1,{0 0 90 80 10 5}")},
                {server("A") + GetParam().write + "=0", type(0, "95"), changed, failed, false, retold},
                {server("A") + GetParam().write + "=-1,1", type(0, "95"), changed, failed, false}});
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
    keys("S-Tab S-Tab S-Tab S-Tab S-Tab S-Tab " + type(1, "60"));
    EXPECT_EQ(ok(), set("2,{0 1 90 80 10 5},{1 1 90 60 10 5}"));
    open(server("A"));
    keys(type(3, ""));
    EXPECT_EQ(ok(), empty);
    keys("S-Tab S-Tab S-Tab S-Tab S-Tab Space");
    EXPECT_EQ(ok(), set("1,{0 0 90 80 10 5}"));
}

TEST_P(SensorsTest, AFailedReadShowsAMessageAndNoPanel) {
    const std::string failed = "Menu: IPMISENSOR_GET_ID";
    const std::string end = of("() failed.return FALSE.", " failed.return FALSE.");
    for (const auto& call : {GetParam().locate, GetParam().read}) {
        expect_no_panel({{server("A") + call + "=0", failed, "1|<" + call + end}});
        EXPECT_TRUE(traced(of("1|<GetTempValue failed.", "1|<GetVOLValue failed.")));
    }
    // Of a negative result the two panels think differently.
    open(server("A") + GetParam().read + "=-1");
    EXPECT_EQ(messages(), is_temperature() ? told(failed) : "");
    EXPECT_EQ(is_open(), !is_temperature());
    open(server("A") + "out_of_memory=16384");
    EXPECT_TRUE(shows(of("┤ Error ├", "┤ ERROR ├")) && shows(of("│ malloc error! │", "│ malloc error │")) &&
                shows(of("│ ok │", "│  ok  │")))
        << tool().picture();
    EXPECT_TRUE(traced(of("2|<Comp malloc failed!", "2|<malloc ZELAIPMIVOLTTHRESHDATA failed.")));
    keys("Enter");
    EXPECT_FALSE(is_open());
}

TEST_P(SensorsTest, CountsAndNamesBeyondTheTablesAreCut) {
    const std::string most = of("512", "128");
    open(server(std::string(200, 'x') + "\nB\x1b[2J\x7f") + GetParam().line + ".count=600");
    EXPECT_EQ(opening(), GetParam().locate + "() " + GetParam().read + "(" + most + ")");
    EXPECT_TRUE(selected(std::string(is_temperature() ? 29 : 22, 'x')));
    keys("Down");
    EXPECT_TRUE(selected("B?[2J?"));
    keys("End");
    EXPECT_TRUE(selected("S" + std::to_string(std::stoi(most) - 1)));
    EXPECT_TRUE(ok().starts_with(GetParam().write + "(" + most + ",{0 1 90 80 10 5},"));
    open(server("A") + GetParam().line + ".count=-1");
    EXPECT_TRUE(selected("none"));
}

class SensorPictureTest : public PanelTest {
  protected:
    SensorPictureTest() : PanelTest(9, "TITTLE_VOL_ID") {}
};

TEST_F(SensorPictureTest, Agent38HasSixRowsThatFillTheScreen) {
    open("reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8\nvolt.0=12V,1,1,13200,12600,11400,10800");
    EXPECT_EQ(picture(), R"(
                    │ Sensor  12V                     ▮   │
                    │ [*] Monitor this sensor             │
                ┌───│                                     │ ──┐
                │   │    High non-recoverable  0_______   │   │
                │ LA│                                     │ ↑ │
                │ RA│    High fatal (mV)       13200___   │ ▒ │
                │ Ma│                                     │ ▮ │
                │ Te│    High warning (mV)     12600___   │ ▒ │
                │ Vo│                                     │ ↓ │
                │   │    Low warning (mV)      11400___   │   │
                │   │    Low fatal (mV)        10800___   │   │
                │   │    Low non-recoverable   0_______   │   │
                └───│         ┌────┐    ┌────────┐        │ ──┘
                    │         │ OK │    │ Cancel │        │
                    │         └────┘    └────────┘        │)");
    EXPECT_TRUE(tool().row(23).find("└─") != std::string::npos);
}

}  // namespace
}  // namespace zeltest
