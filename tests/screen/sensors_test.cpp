// SPDX-License-Identifier: GPL-3.0-or-later
// The temperature and voltage panels: the same dialog with differences, so every case says what each does.
#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

#include "result_test.h"

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

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.name;
}

const Kind kTemperature = {
    "Temperature",         7, "temp", "TEMP", "GetIpmiTempLocation()", "TempGetIpmiThreshold",
    "TempSetIpmiThreshold"};
const Kind kVoltage = {
    "Voltage", 8, "volt", "VOL", "GetIpmiVoltLocation()", "VoltGetIpmiThreshold", "VoltpSetIpmiThreshold"};

class SensorsTest : public ResultTest, public testing::WithParamInterface<Kind> {
  protected:
    SensorsTest() : ResultTest(GetParam().row, ("TITTLE_" + GetParam().prefix + "_ID").c_str()) {
        // The name in the menu is the title of most messages: it must differ from the panel's.
        std::ostringstream texts;
        texts << std::ifstream(folder() / "data" / "E_ctlpanel.rc").rdbuf();
        catalogue("E_ctlpanel.rc", "\n[MAIN_TABNAME_" + GetParam().prefix + "_ID]=\"Menu\"\n" + texts.str());
    }

    static bool is_temperature() { return GetParam().row == kTemperature.row; }

    /// Opens the panel with these sensors, one a line, and further lines of the script.
    void open(const std::string& sensors, std::string script = "") {
        int number = 0;
        for (std::size_t from = 0; from < sensors.size(); ++number) {
            const auto end = std::min(sensors.find('\n', from), sensors.size());
            script += "\n" + GetParam().line + "." + std::to_string(number) + "=" +
                      sensors.substr(from, end - from);
            from = end + 1;
        }
        ResultTest::open(kSensorTabs + script);
    }

    std::string id(const char* rest) const { return GetParam().prefix + rest; }

    /// The selected sensor as the list shows it, a shorter name without its blanks.
    std::string selected() {
        const std::string label = text(id("_SENSOR_ID")) + "  ";
        Position at = tool().find(label).value();
        at.column += static_cast<int>(label.size());
        std::string name;
        for (int end = at.column + list_columns(); at.column < end; ++at.column)
            name += tool().cell(at).text;
        name.erase(name.find_last_not_of(' ') + 1);
        return name;
    }
    /// Of the list's 32 or 25 columns three are not for names.
    static int list_columns() { return is_temperature() ? 29 : 22; }

    /// The check box and the four entries, "x" behind disabled ones: "* 90 80 10 5x".
    std::string state() {
        std::string all = box(id("_ENABLE_ID"));
        for (const char* label : {"_HFATAL_ID", "_HWARNING_ID", "_LWARNING_ID", "_LFATAL_ID"})
            all += " " + entry(id(label));
        return all;
    }

    /// From the list and back: replaces the text of an entry, all being enabled; 0 is high fatal.
    void type(int number, const std::string& typed) {
        for (int i = 0; i < number + 2; ++i)
            keys("Tab");
        keys("End Backspace Backspace Backspace " + typed);
        for (int i = 0; i < number + 2; ++i)
            keys("S-Tab");
    }

    std::string ok() {
        std::string all = ResultTest::ok();
        if (const auto at = all.find(GetParam().write); at != std::string::npos)
            all.replace(at, GetParam().write.size(), "set");
        return all;
    }
    std::string of_menu(const char* identifier) { return "Menu: " + text(identifier); }
};

INSTANTIATE_TEST_SUITE_P(, SensorsTest, testing::Values(kTemperature, kVoltage),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(SensorsTest, OpensByTheFirstRecord) {
    struct Case {
        const char* sensors;
        const char* state;
        const char* state_of_voltage = nullptr;
    };
    const Case cases[] = {{"A", "* 90 80 10 5"},
                          {"A,0", "  90x 80x 10x 5x"},
                          {"A,5", "* 90 80 10 5"},
                          {"A,-", " x 90 80 10 5", " x 90x 80x 10x 5x"},
                          {"A,-,1,-,80\nB", " x 0x 80 10 5", " x 0x 80x 10x 5x"},
                          {"A,-,0", " x 0x 0x 0x 0x"},
                          {"A,1,0", "* 0x 0x 0x 0x"},
                          {"A,1,2", "* 0x 0x 0x 0x"},
                          {"A,1,1,-,80,-,5", "* 0x 80 0x 5"},
                          {"A,1,1,123456,0,-5,-40", "* 123456 0 -5 -40"},
                          {"", " x 0x 0x 0x 0x"}};
    for (const auto& [sensors, state_of_temperature, state_of_voltage] : cases) {
        SCOPED_TRACE(sensors);
        open(sensors);
        const bool alike = is_temperature() || state_of_voltage == nullptr;
        EXPECT_EQ(state(), alike ? state_of_temperature : state_of_voltage);
        if (std::string_view(sensors).ends_with("B")) {
            EXPECT_EQ(selected(), "B") << "a sensor without setting is listed";
        }
    }
    EXPECT_EQ(selected(), "none");
    EXPECT_EQ(opening(), GetParam().locate + " " + GetParam().read + "(0)");
    EXPECT_EQ(ok(), "set(0)");
    EXPECT_FALSE(is_open());
}

TEST_P(SensorsTest, CheckBoxSwitchesTheEntriesAndKeepsTheirTexts) {
    struct Case {
        const char* sensor;
        const char* once;
        const char* twice;
    };
    for (const auto& [sensor, once, twice] :
         {Case{"A,1,1,90,-", "  90x 0x 10x 5x", "* 90 0x 10 5"},
          Case{"A,0", "* 90 80 10 5", "  90x 80x 10x 5x"}, Case{"A,0,0", "* 0x 0x 0x 0x", "  0x 0x 0x 0x"}}) {
        SCOPED_TRACE(sensor);
        open(sensor);
        keys("Tab Space");
        EXPECT_EQ(state(), once);
        keys("Space");
        EXPECT_EQ(state(), twice);
    }
}

TEST_P(SensorsTest, MovingTheListKeepsWhatWasEntered) {
    open("A\nB,0,1,90,-\nC,1,0\nD,-\nE");
    EXPECT_EQ(opening(), GetParam().locate + " " + GetParam().read + "(5)");
    type(0, "91");
    type(1, "");
    type(2, "11");
    type(3, "6");
    // Temperature restores from the first empty entry on, voltage the empty ones.
    const std::string first = is_temperature() ? "91 80 10 5" : "91 80 11 6";
    struct Step {
        const char* keys;
        const char* sensor;
        std::string state;
    };
    const Step steps[] = {{"Down", "B", "  90x 0x 10x 5x"},
                          {"Up", "A", "* " + first},
                          {"Down Tab Space S-Tab Up Down", "B", "* 90 0x 10 5"},
                          {"Down", "C", "* 0x 0x 0x 0x"},
                          {"Tab Space S-Tab Up Down", "C", "  0x 0x 0x 0x"},
                          {"Down", "E", "* 90 80 10 5"},
                          {"Down", "E", "* 90 80 10 5"}};
    for (const auto& step : steps) {
        SCOPED_TRACE(step.keys);
        keys(step.keys);
        EXPECT_EQ(selected(), step.sensor);
        EXPECT_EQ(state(), step.state);
    }
    // What was typed for a sensor is dropped with its monitoring; "-" reads as 0.
    type(0, "70");
    keys("Tab Space S-Tab Up Down");
    EXPECT_EQ(state(), "  90x 80x 10x 5x");
    keys("Tab Space S-Tab");
    type(3, "-");
    keys("Up Down");
    EXPECT_EQ(state(), "* 90 80 10 0");
    EXPECT_EQ(ok(), "set(5,{1 1 " + first +
                        "},{0 1 90 - 10 5},{0 0 90 80 10 5},{0 - 90 80 10 5},{1 1 90 80 10 0})");
}

TEST_P(SensorsTest, OkJudgesEveryMonitoredSensor) {
    const std::string order = of_menu("COMPARISION_ID");
    const std::string range = of_menu("EXCESS_LIMITATION_ID");
    struct Case {
        const char* sensors;
        std::string result;
    };
    const Case cases[] = {
        {"A,1,1,50,50", order},
        {"A,1,1,90,80,10,10", order},
        {"A,1,1,90,20,20,5", order},
        {"A,1,1,50,-,50,5", order},
        {"A,1,1,90,80,5,-", "set(1,{0 1 90 80 5 -})"},
        {"A,1,1,90,-,80,5", "set(1,{0 1 90 - 80 5})"},
        {"A,1,1,-,-,-,-", "set(1,{0 1 - - - -})"},
        {"A,1,1,90,20,10,5,90,20,10,5", "set(1,{0 1 90 20 10 5})"},
        {"A,1,1,91,20,10,5,90,20,10,5", range},
        {"A,1,1,90,19,10,5,90,20,10,5", range},
        {"A,1,1,90,20,11,5,90,20,10,5", range},
        {"A,1,1,90,20,10,4,90,20,10,5", range},
        {"A,1,1,101,101", range},
        {"A,0,1,1,2,3,400", "set(1,{0 0 1 2 3 400})"},
        {"A,1,0,1,2,3,400", "set(1,{0 1 1 2 3 400})"},
        {"A\nB,1,1,80,90", order},
        {"A\nB,5,1,80,90", order},
        {"A\nB,5", "set(2,{0 1 90 80 10 5},{0 5 90 80 10 5})"},
        {"A,1,1,80,90\nB,1,1,101", order},
        {"A,1,1,101\nB,1,1,80,90", range},
        // The selected sensor is then not the one shown, and takes the mark of the disabled box.
        {"A,-,1,1,2,3,400\nB", "set(2,{0 - 1 2 3 400},{0 0 90 80 10 5})"},
    };
    for (const auto& [sensors, result] : cases) {
        SCOPED_TRACE(sensors);
        open(sensors);
        EXPECT_EQ(ok(), result);
        EXPECT_EQ(is_open(), !result.starts_with("set"));
    }
}

TEST_P(SensorsTest, OnlyDifferencesFromWhatWasReadAreChanges) {
    struct Case {
        std::vector<const char*> high_fatal;  // typed one after the other
        const char* keys;                     // then, from the list
        const char* written;
    };
    for (const auto& [high_fatal, typed, written] :
         {Case{{"95"}, "", "set(2,{1 1 95 80 10 5},{0 1 90 80 10 5})"},
          Case{{"95", "90"}, "", "set(2,{0 1 90 80 10 5},{0 1 90 80 10 5})"},
          Case{{"95"}, "Down", "set(2,{1 1 95 80 10 5},{0 1 90 80 10 5})"},
          Case{{"95"}, "Tab Space", "set(2,{0 0 90 80 10 5},{0 1 90 80 10 5})"}}) {
        open("A\nB");
        for (const char* number : high_fatal)
            type(0, number);
        keys(typed);
        EXPECT_EQ(ok(), written);
    }
    EXPECT_FALSE(traced("3|TempThreshData[0].bChangeThreshFlag=0"));
    EXPECT_EQ(traced("3|TempThreshData[1].bChangeThreshFlag=0"), is_temperature());
}

TEST_P(SensorsTest, EmptyEntriesAreRefused) {
    const std::string empty = text("INPUT_NULL_ID");
    const std::string order = of_menu("COMPARISION_ID");
    // Temperature asks the sensor of the last OK whether it may be changed (at first sensor 0), voltage the
    // selected one. Sensor 0 is read only here.
    open("A,1,0\nB");
    keys("Down");
    type(1, "");
    EXPECT_EQ(ok(), is_temperature() ? order : empty);
    EXPECT_EQ(ok(), empty);
    keys("S-Tab S-Tab S-Tab S-Tab S-Tab S-Tab");
    type(1, "60");
    EXPECT_EQ(ok(), "set(2,{0 1 90 80 10 5},{1 1 90 60 10 5})");

    for (const int number : {0, 3}) {
        open("A");
        type(number, "");
        EXPECT_EQ(ok(), empty);
        EXPECT_TRUE(is_open());
    }
    keys("S-Tab S-Tab S-Tab S-Tab S-Tab Space");
    EXPECT_EQ(ok(), "set(1,{0 0 90 80 10 5})");
}

TEST_P(SensorsTest, AFailedWriteKeepsThePanelAndItsValues) {
    open("A", GetParam().write + "=0,-1,1");
    type(0, "95");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ok(), of_menu("IPMISENSOR_SET_ID") + " set(1,{1 1 95 80 10 5})");
        EXPECT_EQ(state(), "* 95 80 10 5");
    }
    EXPECT_TRUE(
        traced(is_temperature() ? "1|TempSetIpmiThreshold() failed." : "1|VoltpSetIpmiThreshold failed."));
    EXPECT_EQ(ok(), "set(1,{1 1 95 80 10 5})");
    EXPECT_FALSE(is_open());
}

TEST_P(SensorsTest, AFailedReadShowsAMessageAndNoPanel) {
    struct Case {
        std::string script;
        std::string trace;
    };
    const std::string parentheses = is_temperature() ? "()" : "";
    const std::string locate = GetParam().locate.substr(0, GetParam().locate.find('('));
    for (const auto& [script, trace] :
         {Case{locate, locate + parentheses}, Case{GetParam().read, GetParam().read + parentheses}}) {
        open("A", script + "=0");
        EXPECT_EQ(message(), of_menu("IPMISENSOR_GET_ID"));
        EXPECT_FALSE(is_open());
        EXPECT_TRUE(traced("1|<" + trace + " failed.return FALSE.")) << trace;
        EXPECT_TRUE(traced(is_temperature() ? "1|<GetTempValue failed." : "1|<GetVOLValue failed."));
    }
    // Of a negative result the two panels think differently.
    open("A", GetParam().read + "=-1");
    EXPECT_EQ(message(), is_temperature() ? of_menu("IPMISENSOR_GET_ID") : "");
    EXPECT_EQ(is_open(), !is_temperature());
}

TEST_P(SensorsTest, MemoryThatRunsShortIsTold) {
    struct Case {
        const char* bytes;
        const char* trace;
    };
    const std::vector<Case> cases =
        is_temperature() ? std::vector<Case>{{"68544", "2|<TempThreshData malloc failed!"},
                                             {"97920", "2|<sTempSensorTableEx malloc failed!"},
                                             {"16384", "2|<Comp malloc failed!"}}
                         : std::vector<Case>{{"20736", "2|<malloc VOLTSENSORTABLE failed."},
                                             {"16384", "2|<malloc ZELAIPMIVOLTTHRESHDATA failed."},
                                             {"5120", "2|<malloc _compare failed."}};
    for (const auto& [bytes, trace] : cases) {
        open("A", std::string("out_of_memory=") + bytes);
        const auto all_shown = is_temperature() ? std::array{"┤ Error ├", "│ malloc error! │", "│ ok │"}
                                                : std::array{"┤ ERROR ├", "│ malloc error │", "│  ok  │"};
        for (const char* shown : all_shown)
            EXPECT_TRUE(shows(shown)) << tool().picture();
        keys("Enter");
        EXPECT_TRUE(traced(trace)) << trace;
        EXPECT_EQ(opening(), "");
        EXPECT_FALSE(is_open());
    }
}

TEST_P(SensorsTest, CountsAndNamesBeyondTheTablesAreCut) {
    const std::string most = is_temperature() ? "512" : "128";
    open(std::string(200, 'x') + "\nB\x1b[2J\x7f", GetParam().line + ".count=600");
    EXPECT_EQ(opening(), GetParam().locate + " " + GetParam().read + "(" + most + ")");
    EXPECT_EQ(selected(), std::string(static_cast<std::size_t>(list_columns()), 'x'));
    keys("Down");
    EXPECT_EQ(selected(), "B?[2J?");
    keys("End");
    EXPECT_EQ(selected(), "S" + std::to_string(std::stoi(most) - 1));
    EXPECT_TRUE(ok().starts_with("set(" + most + ",{0 1 90 80 10 5},"));
    open("A", GetParam().line + ".count=-1");
    EXPECT_EQ(selected(), "none");
}

TEST_P(SensorsTest, CancelAndHotKeysWriteNothing) {
    for (const char* key : {"Ctrl-O", "\x80", "Esc", "Cancel"}) {
        SCOPED_TRACE(key);
        open("A\nB");
        type(0, "70");
        keys("F12 Down Ctrl-A Tab Enter");
        EXPECT_TRUE(is_open());
        if (key == std::string_view("Cancel")) {
            press(key);
        } else {
            keys(key);
        }
        EXPECT_FALSE(is_open()) << tool().picture();
        EXPECT_EQ(joined_calls(), "");
    }
}

class SensorPictureTest : public ToolTest {};

TEST_F(SensorPictureTest, VoltageInJapanese) {
    options.environment["LANG"] = "ja_JP.UTF-8";
    open_panel(kVoltage.row, kSensorTabs + "volt.0=電圧 12V,1,1,13200,12600,11400,10800");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - ZEL エージェントの設定

                   ┌───────────┤ 電圧センサー ├────────────┐
                   │                                       │
                   │ センサー  電圧 12V                ▮   │
                ┌──│                                       │ ─┐
                │  │ [*] このセンサーを監視する            │  │
                │  │                                       │  │
                │ L│         上限異常(mV)  13200___        │  │
                │ R│                                       │  │
                │  │         上限警告(mV)  12600___        │  │
                │  │                                       │  │
                │  │         下限警告(mV)  11400___        │  │
                │  │                                       │  │
                │  │         下限異常(mV)  10800___        │  │
                │  │                                       │  │
                │  │        ┌────┐    ┌────────────┐       │  │
                │  │        │ OK │    │ キャンセル │       │  │
                └──│        └────┘    └────────────┘       │ ─┘
                   │                                       │
                   │                                       │
                   └───────────────────────────────────────┘

  <Tab>/<Shift-Tab> 項目移動   <Space> 選択   <Enter> 決定   <Up>/<Down> 一覧
)");
}

TEST_F(SensorPictureTest, Agent38HasSixRowsThatFillTheScreen) {
    open_panel(9,
               "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8\n"
               "volt.0=12V,1,1,13200,12600,11400,10800");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Config┌─────────┤ Voltage Sensors ├─────────┐
                    │                                     │
                    │ Sensor  12V                     ▮   │
                    │                                     │
                    │ [*] Monitor this sensor             │
                ┌───│                                     │ ──┐
                │   │    High non-recoverable  0_______   │   │
                │ LA│                                     │ ↑ │
                │ RA│    High fatal (mV)       13200___   │ ▒ │
                │ Ma│                                     │ ▮ │
                │ Te│    High warning (mV)     12600___   │ ▒ │
                │ Vo│                                     │ ↓ │
                │   │    Low warning (mV)      11400___   │   │
                │   │                                     │   │
                │   │    Low fatal (mV)        10800___   │   │
                │   │                                     │   │
                │   │    Low non-recoverable   0_______   │   │
                │   │                                     │   │
                └───│         ┌────┐    ┌────────┐        │ ──┘
                    │         │ OK │    │ Cancel │        │
                    │         └────┘    └────────┘        │
                    │                                     │
                    │                                     │
  <Tab>/<Shift-Tab> └─────────────────────────────────────┘ Up>/<Down> list
)");
    open_panel(8,
               "reg SOFTWARE\\QUD\\ZELAgent CurrentVersion=sz:3.8\n"
               "temp.0=CPU 1,1,1,90,80,-,5");
    EXPECT_EQ(tool().picture(), R"(ZELagntconf - Con┌──────────┤ Temperature Sensors ├───────────┐
                 │                                            │
                 │ Sensor  CPU 1                          ▮   │
                 │                                            │
                 │ [*] Monitor this sensor                    │
                ┌│                                            │
                ││        High non-recoverable  0_______      │
                ││                                            │
                ││        High fatal (deg C)    90______      │
                ││                                            │
                ││        High warning (deg C)  80______      │
                ││                                            │
                ││        Low warning (deg C)   0_______      │
                ││                                            │
                ││        Low fatal (deg C)     5_______      │
                ││                                            │
                ││        Low non-recoverable   0_______      │
                ││                                            │
                └│             ┌────┐    ┌────────┐           │
                 │             │ OK │    │ Cancel │           │
                 │             └────┘    └────────┘           │
                 │                                            │
                 │                                            │
  <Tab>/<Shift-Ta└────────────────────────────────────────────┘ <Down> list
)");
}

}  // namespace
}  // namespace zeltest
