// SPDX-License-Identifier: GPL-3.0-or-later
// The calls that ask a simulated controller, a case a file of cases/. Steps beside those of support/steps.h:
//
//   open                 reads the temperature sensors and their thresholds, as their panel does
//   find, read, save     parts of that, and saving what was changed
//   count                how many sensors there are
//   last                 the name of the last one
//   row NAME             thresholds from high fatal to low fatal, whether they can be set, monitoring, limits
//   change NAME: FIELD=VALUE ...   of a row; "-" is no threshold
//   list RULES           how many sensors are listed, each with its thresholds, under these rules, and listed again
//                        from what was kept
//   installed            what GetInstallStatus says
//   boot MODE FLAG       the maintenance boot mode, as MOVALSetMode takes it
//   mode                 what it is
//   request HOW          the completion code of a request that is repeated "freely" or "if refused"
//   cache HOW            spoils what is kept of the records: none, flipped, first half, last half, twice, other
//   interrupt SIGNAL XX ...  a process switches it on and gets the signal when it asks for this; 0: the controller
//                        says nothing from there on
//   later COMMAND XX ... as send, but 0.6 s later
//   send COMMAND XX ...  somebody's request to the chassis
//   timer COMMAND XX ... somebody's request about the watchdog timer
//   entry XX ...         is added to the system event log: generator, version, type and number of the sensor, event
//   erase                empties that log
//   parameter N          bytes of the controller's boot options
#include <csignal>
#include <iomanip>
#include <thread>

#include "bmc/controller.h"
#include "panel_table.h"
#include "steps.h"
#include "zel/access_control.h"
#include "zel/tracelog.h"

namespace {

using namespace zel;
using namespace zel::test;
using Text = const std::string&;

std::string outcome(bool done) {
    return done ? "ok" : "failed";
}

std::string text_of(const TempThreshRecord& row) {
    std::ostringstream text;
    for (const std::int64_t value : {row.lHighFatal, row.lHighWarning, row.lLowWarning, row.lLowFatal})
        text << (value == SENSOR_NO_THRESHOLD ? "-" : std::to_string(value)) << ' ';
    text << (row.bSettable ? "set " : "")
         << (row.dwMonitorFlag == SENSOR_NO_MONITORING ? "none"
             : row.dwMonitorFlag                       ? "on"
                                                       : "off")
         << ", " << row.lHighMax << ' ' << row.lHighMin << ' ' << row.lLowMax << ' ' << row.lLowMin;
    return text.str();
}

void set_field(TempThreshRecord& row, const std::string& field, std::int64_t value) {
    static const std::map<std::string, std::int64_t TempThreshRecord::*> thresholds = {
        {"HighFatal", &TempThreshRecord::lHighFatal},
        {"HighWarning", &TempThreshRecord::lHighWarning},
        {"LowWarning", &TempThreshRecord::lLowWarning},
        {"LowFatal", &TempThreshRecord::lLowFatal}};
    if (const auto threshold = thresholds.find(field); threshold != thresholds.end()) {
        row.*threshold->second = value;
        row.bChangeThreshFlag = 1;
    } else if (field == "Monitor")
        row.dwMonitorFlag = static_cast<std::uint32_t>(value);
    else if (field == "Changed")
        row.bChangeThreshFlag = static_cast<std::uint8_t>(value);
    else if (field == "word0")
        row.word0 = static_cast<decltype(row.word0)>(value);
}

/// What the controller answers to anybody's request, all in hexadecimal digits.
std::string answer_to(bmc::NetFn netfn, Text request) {
    std::istringstream digits(request);
    std::vector<std::uint8_t> data;
    for (unsigned byte = 0; digits >> std::hex >> byte;)
        data.push_back(static_cast<std::uint8_t>(byte));
    const auto reply = bmc::controller().request(0, netfn, data.at(0), std::span(data).subspan(1));
    std::ostringstream text;
    text << std::hex << std::setfill('0') << std::setw(2) << (reply ? int{reply->completion} : -1);
    for (const int byte : reply ? reply->data : std::vector<std::uint8_t>())
        text << ' ' << std::setw(2) << byte;
    bmc::controller().end_session();
    return text.str();
}

/// What is kept of a controller's records, spoilt in one way or another.
void damage_cache(Text how) {
    const auto is_lock = [](const auto& entry) { return entry.path().extension() == ".lock"; };
    const auto folder = fs::directory_iterator(state("sdr"));
    const std::string path = std::find_if_not(begin(folder), end(folder), is_lock)->path();
    const std::string good = read_text(path);
    const std::size_t half = good.size() / 2;
    std::string flipped = good;
    flipped[half] ^= 1;
    const std::map<std::string, std::string> damaged = {{"none", ""},
                                                        {"flipped", flipped},
                                                        {"first half", good.substr(0, half)},
                                                        {"twice", good + good},
                                                        {"last half", good.substr(half)},
                                                        {"other", std::string(3000, '\xff')}};
    write_text(path, damaged.at(how));
}

class ControllerCases : public Steps {
  protected:
    ControllerCases() {
        EXPECT_EQ(TraceLogInit(0, "cases", 0, 5, 0), 0);
        names_["$valid"] = fs::exists("/sys/firmware/efi") ? "a0" : "80";
        add_call("open", [this](Text) { return outcome(panel_.open()); });
        add_call("find", [this](Text) { return outcome(panel_.find()); });
        add_call("read", [this](Text) { return outcome(panel_.read()); });
        add_call("save", [this](Text) { return outcome(panel_.write()); });
        add_call("count", [this](Text) { return std::to_string(panel_.count); });
        add_call("last", [this](Text) {
            return std::string(panel_.locations.at(static_cast<std::size_t>(panel_.count) - 1).name);
        });
        add_call("row", [this](Text name) { return text_of(*panel_.row(name)); });
        add_call("change", [this](Text what) {
            const auto [name, changes] = split_at(what, ": ");
            std::istringstream each(changes);
            for (std::string change; each >> change;) {
                const auto [field, value] = split_at(change, "=");
                set_field(*panel_.row(name), field, value == "-" ? SENSOR_NO_THRESHOLD : std::stol(value));
            }
            return "ok";
        });
        add_call("list", [this](Text rules) { return listed_twice(rules); });
        add_call("installed", [](Text) { return std::to_string(GetInstallStatus()); });
        add_call("boot", [](Text what) {
            const auto [mode, flag] = split_at(what, " ");
            return outcome(MOVALSetMode(std::stoi(mode), std::stoi(flag)) == 0);
        });
        add_call("mode", [](Text) {
            int mode = -1;
            if (GetUtlBootMode(&mode) == 0) return "unknown";
            return mode == MOVAL_MODE_ON ? "on" : "off";
        });
        steps_["cache"] = [](Text how, Text) { damage_cache(how); };
        add_call("request", [](Text repeat) {
            const auto how = repeat == "freely" ? bmc::Repeat::freely : bmc::Repeat::if_refused;
            const auto reply = bmc::controller().request(0, bmc::kApp, 0x01, {}, how);
            return reply ? std::to_string(reply->completion) : "none";
        });
        steps_["interrupt"] = [this](Text what, Text) { interrupt(what); };
        steps_["later"] = [this](Text request, Text) {
            other_ = std::jthread([request] {
                std::this_thread::sleep_for(std::chrono::milliseconds(600));
                EXPECT_EQ(answer_to(bmc::kChassis, request), "00");
            });
        };
        add_call("timer", [](Text request) { return answer_to(bmc::kApp, request); });
        add_call("send", [](Text request) { return answer_to(bmc::kChassis, request); });
        add_call("entry", [](Text event) {
            return answer_to(bmc::kStorage, "44 00 00 02 00 00 00 00 " + event).substr(0, 2);
        });
        add_call("erase", [](Text) {
            const std::string reserved = answer_to(bmc::kStorage, "42").substr(3);
            return answer_to(bmc::kStorage, "47 " + reserved + " 43 4c 52 aa").substr(0, 2);
        });
        add_call("parameter",
                 [](Text number) { return answer_to(bmc::kChassis, "09 " + number + " 00 00").substr(9); });
    }

  private:
    std::string listed_twice(Text rules) {
        fs::remove_all(state("sdr"));
        steps_.at("rules")(rules, "");
        const bool whole = panel_.open();
        simulator_->rules("answer 0a 23 * ff\n");  // nothing but what was kept
        EXPECT_EQ(Temperatures{}.find(), whole);
        if (!whole) return "failed";
        return std::to_string(
            std::ranges::count_if(std::span(panel_.data).first(static_cast<std::size_t>(panel_.count)),
                                  [](auto& row) { return row.lHighFatal == 80; }));
    }

    void interrupt(Text what) {
        const auto [signal, request] = split_at(what, " ");
        const int number = std::stoi(signal);
        simulator_->requests();
        simulator_->rules(number == 0 ? "stop 00 08 " + request.substr(0, 2) + '\n' : "delay 30000\n");
        const pid_t tool = start_process([] {
            std::signal(SIGTERM, [](int) { _exit(7); });
            return MOVALSetMode(MOVAL_MODE_ON, 1);
        });
        await("00/08.0 " + request);
        if (number != 0) kill(tool, number);
        EXPECT_EQ(finish_process(tool) == 7, number == SIGTERM);
        simulator_->rules("");
    }

    Temperatures panel_;
    std::jthread other_;
};

TEST_P(ControllerCases, Hold) {
    walk();
}
INSTANTIATE_TEST_SUITE_P(, ControllerCases, testing::ValuesIn(files_of(CASES)), stem_of);

}  // namespace
