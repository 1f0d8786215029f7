// SPDX-License-Identifier: GPL-3.0-or-later
// What talks to the management controller, beside ipmitool and FreeIPMI's programs on the same simulated one,
// and the reader of the SNMP daemon's configuration beside grep.
#include <unistd.h>
#include <zel/access_control.h>
#include <zel/access_ipmi.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "agent_service.h"
#include "controllers.h"
#include "programs.h"
#include "statistics.h"
#include "store/registry.h"

namespace {

using bench::AgentService;
using bench::Controller;
using bench::Peer;
using bench::peers_of;
using bench::Samples;
using zel::simulator::Access;
using zel::simulator::Sensor;
using zeltest::VtApp;
using Strings = std::vector<std::string>;

// ---- reading and changing thresholds

template <class Location, class Row, int room>
struct Table {
    int count = 0;
    std::vector<Location> locations = std::vector<Location>(room);
    std::vector<Row> rows = std::vector<Row>(room);
};
using Temperatures = Table<TempSensorLocation, TempThreshRecord, TEMP_SENSORS_ROOM>;
using Voltages = Table<VoltSensorLocation, VoltThreshRecord, VOLT_SENSORS_ROOM>;

bool read(Temperatures& table) {
    return GetIpmiTempLocation(&table.count, table.locations.data()) != 0 &&
           TempGetIpmiThreshold(table.locations.data(), table.rows.data(), table.count) > 0;
}

bool read(Voltages& table) {
    return GetIpmiVoltLocation(&table.count, table.locations.data()) != 0 &&
           VoltGetIpmiThreshold(table.locations.data(), table.rows.data(), table.count) != 0;
}

/// Whether every row has the values of the sensor of its name. True for no other number of rows than `count`.
bool is_right(const auto& table, const std::vector<Sensor>& sensors, std::ptrdiff_t count) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(table.count); ++i) {
        const auto sensor = std::ranges::find(sensors, std::string(table.locations[i].name), &Sensor::name);
        if (sensor == sensors.end()) return false;
        const bool none = sensor->access == Access::none;
        const auto value = [&](unsigned threshold) {
            return none ? SENSOR_NO_THRESHOLD : std::int64_t{sensor->factor} * sensor->codes[threshold];
        };
        if (table.rows[i].lHighFatal != value(zel::simulator::kUc) ||
            table.rows[i].lLowWarning != value(zel::simulator::kLnc))
            return false;
    }
    return table.count == count;
}

/// Reads all thresholds as the two panels do: a program of its own, for a fair comparison with programs.
int read_all(int temperatures, int voltages) {
    const std::vector<Sensor> sensors = zel::simulator::many_sensors(temperatures, voltages);
    Temperatures degrees;
    Voltages volts;
    const bool right = read(degrees) && read(volts) && is_right(degrees, sensors, temperatures) &&
                       is_right(volts, sensors, voltages);
    return right ? 0 : 1;
}

/// How many requests a full reading takes: no more than one for each sensor with thresholds, and three.
void count_requests(Controller& controller, const Strings& ours) {
    controller.requests();
    const bool right = bench::run_program(ours) == 0;
    const auto sent = std::ssize(controller.requests());
    const auto has_none = [](const Sensor& sensor) { return sensor.access == Access::none; };
    const auto& sensors = controller.simulation().sensors;
    const auto allowed = std::ssize(sensors) - std::ranges::count_if(sensors, has_none) + 3;
    bench::print_note(std::to_string(sent) + " requests besides the session's (at most " +
                      std::to_string(allowed) + (sent <= allowed ? ")" : ") **too many**") +
                      "; values on all LUNs: " + (right ? "right" : "**wrong**"));
}

void measure_reading(const AgentService& agent) {
    bench::print_note("below: a new program and session for each sample, ours too; sensor records cached");
    for (const auto& [temperatures, voltages] : {std::pair(8, 8), {32, 32}, {128, 128}, {384, 128}}) {
        Controller controller(agent, zel::simulator::many_sensors(temperatures, voltages));
        const Strings ours{"/proc/self/exe", "--read", std::to_string(temperatures),
                           std::to_string(voltages)};
        const std::string cache = agent.folder() / "freeipmi";
        std::filesystem::remove_all(cache);
        std::filesystem::create_directory(cache);
        auto peers = peers_of(controller, cache);
        bench::run_program(ours);  // it fills the cache
        Samples ms;
        for (int round = 0; round < (temperatures < 100 ? 9 : 6); ++round) {
            // Ours is over so soon that a busy machine's pauses would decide.
            for (int i = 0; i < 3; ++i)
                ms.push_back(bench::milliseconds([&] { bench::run_program(ours); }));
            for (Peer& peer : peers) {
                peer.run();
                if (round == 0) peer.ms.clear();  // it fills the caches
            }
        }
        const std::string what = "thresholds of " + std::to_string(temperatures + voltages) + " sensors";
        for (const Peer& peer : peers) {
            bench::print_ratio(what, ms, peer.name, peer.ms, "ms", 1.0);
            if (peer.status != 0)
                bench::print_note(peer.name + " fails with status " + std::to_string(peer.status));
        }
        count_requests(controller, ours);
    }
}

void measure_changing(const AgentService& agent) {
    Controller controller(agent, zel::simulator::many_sensors(384, 128));
    Temperatures table;
    if (!read(table)) throw std::runtime_error("no thresholds");
    const auto row =
        std::ranges::find(table.locations, std::string_view("Zone 300"), &TempSensorLocation::name);
    TempThreshRecord& changed = table.rows.at(static_cast<std::size_t>(row - table.locations.begin()));
    changed.lHighWarning += 1;
    changed.bChangeThreshFlag = 1;
    controller.requests();
    Samples ms{bench::milliseconds([&] { TempSetIpmiThreshold(table.rows.data(), table.count); })};
    std::string requests;
    for (const std::string& request : controller.requests())
        requests += ' ' + request.substr(0, 7);
    const bool right = requests == " 04/26.1 04/27.1";
    bench::print_value("changing one threshold of 512 sensors", ms, "ms");
    bench::print_note("requests besides the session's:" + requests + " (one Set, one Get)" +
                      (right ? "" : " **wrong**"));
}

// ---- the tool's panels

/// Starts the tool and moves to a row of its menu.
std::unique_ptr<VtApp> menu_at(const AgentService& agent, const char* row) {
    auto app = std::make_unique<VtApp>(agent.tool());
    if (!app->settle()) throw std::runtime_error("no menu:\n" + app->picture());
    choose_row(*app, row);
    return app;
}

void measure_panel(const AgentService& agent) {
    Controller controller(agent, zel::simulator::many_sensors(64, 0));
    controller.rules("delay 5000\n");
    Samples ms;
    Samples allowed;
    for (int round = 0; round < 6; ++round) {
        const auto app = menu_at(agent, "Temperature Sensors");
        controller.requests();
        const double took = bench::milliseconds([&] { app->keys("Enter"); });
        const auto requests = static_cast<double>(controller.all_requests().size());
        if (!app->find("Zone 0")) throw std::runtime_error("no panel:\n" + app->picture());
        if (round == 0) continue;  // it reads the sensor records
        ms.push_back(took);
        allowed.push_back(5 * requests);
    }
    bench::print_ratio("temperature panel, 64 sensors, 5 ms a request", ms, "the requests alone", allowed,
                       "ms", 1.3);
}

/// Milliseconds from a key to a request; throws after two seconds.
double until_asked(VtApp& app, const char* key, Controller& controller, const std::string& request) {
    controller.requests();
    bool asked = false;
    const double took = bench::milliseconds([&] {
        app.send(key);
        for (int polls = 0; !asked && polls < 20'000; ++polls) {
            usleep(100);
            asked = std::ranges::count(controller.requests(), request) > 0;
        }
    });
    if (!asked) throw std::runtime_error("not asked: " + request + "\n" + app.picture());
    return took;
}

void measure_identify(const AgentService& agent) {
    Controller controller(agent, zel::simulator::many_sensors(8, 0));
    const auto app = menu_at(agent, "General");
    app->keys("Enter Tab*3");
    Samples begin;
    Samples end;
    for (int round = 0; round < 7; ++round) {
        begin.push_back(until_asked(*app, "Enter", controller, "00/04.0 05"));
        app->keys("Tab");
        end.push_back(until_asked(*app, "Enter", controller, "00/04.0 00"));
        app->keys("S-Tab");
    }
    bench::print_ratio("identify: key on Begin to command", begin, "the panel's sleep", {1000}, "ms", 1.0);
    bench::print_ratio("identify: key on End to command", end, "allowed", {50}, "ms", 1.0);
    bench::print_note("the tool as it is: newt holds the screen for big buttons, not for these two");
}

// ---- the SNMP daemon's configuration

/// 100 lines a file, half of them with a community.
void write_configuration(const AgentService& agent, const std::string& folder, int files) {
    const auto path = agent.folder() / folder;
    std::filesystem::create_directory(path);
    std::ofstream main_file(path / "snmpd.conf");
    for (int file = 0; file < files; ++file) {
        const std::string name = "part" + std::to_string(file) + ".conf";
        main_file << "includeFile " << name << '\n';
        std::ofstream part(path / name);
        for (int line = file * 25; line < file * 25 + 25; ++line)
            part << "# Readers of building " << line << "\nrocommunity reader" << line
                 << " 10.0.0.0/8\nview all included .1 80\ncom2sec operators default writer" << line << '\n';
    }
}

double read_communities_ms(const AgentService& agent, const std::string& folder, int expected) {
    agent.write_file("agent.conf",
                     "[snmp]\nconf=" + (agent.folder() / folder / "snmpd.conf").string() + '\n');
    auto* head = static_cast<CommunityNode*>(std::calloc(1, sizeof(CommunityNode)));
    int count = 0;
    const double took = bench::milliseconds([&] { count = GetCommunityNamefromConf(head); });
    FreeCommnityStruct(&head);
    if (count != expected) throw std::runtime_error("communities: " + std::to_string(count));
    return took;
}

void measure_communities(const AgentService& agent) {
    write_configuration(agent, "snmp-half", 50);
    write_configuration(agent, "snmp", 100);
    Samples half;
    Samples ours;
    Samples theirs;
    for (int round = 0; round < 21; ++round) {
        half.push_back(read_communities_ms(agent, "snmp-half", 2500));
        ours.push_back(read_communities_ms(agent, "snmp", 5000));
        // Into a file: with nowhere to write to, grep stops at the first line that it finds.
        theirs.push_back(bench::milliseconds([&] {
            bench::run_program({"grep", "-r", "community", agent.folder() / "snmp"}, agent.folder() / "grep");
        }));
    }
    bench::print_ratio("communities, 10,000 lines in 100 files", ours, "grep -r (with its start)", theirs,
                       "ms", 3.0);
    bench::print_ratio("communities, 10,000 lines", ours, "5,000 lines", half, "ms", 2.4);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc == 4) return read_all(std::atoi(argv[2]), std::atoi(argv[3]));
    AgentService agent;
    // The service found no controller when it started, so it left the sensors' panels out of the menu.
    const zel::store::registry::Entry tabs{"CplTabView", std::uint32_t{0xc0}};
    zel::store::registry::set("SOFTWARE/QUD/ZELAgent/CPL", std::array{tabs});
    measure_panel(agent);
    measure_identify(agent);
    agent.stop_service();  // from here on the requests are ours alone
    measure_reading(agent);
    measure_changing(agent);
    measure_communities(agent);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "controller_bench: %s\n", error.what());
    return 1;
}
