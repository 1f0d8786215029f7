// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation.h"

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace zel::simulator {
namespace {

std::uint8_t byte(int value) {
    return static_cast<std::uint8_t>(value & 0xff);
}
/// The two high bits of a ten-bit number, where records keep them.
std::uint8_t high_bits(int value) {
    return static_cast<std::uint8_t>((value >> 8 & 3) << 6);
}

/// A number as ipmi_sim reads one.
std::string hex(int value) {
    std::ostringstream text;
    text << " 0x" << std::hex << std::setw(2) << std::setfill('0') << unsigned{byte(value)};
    return text.str();
}

const char* word_of(Access access) {
    return access == Access::settable ? "settable" : access == Access::readable ? "readable" : "none";
}

void add_record(std::ostream& out, const std::vector<std::uint8_t>& record) {
    out << "main_sdr_add 0x20";
    for (const std::uint8_t value : record)
        out << hex(value);
    out << '\n';
}

void add_sensor(std::ostream& out, const Sensor& sensor) {
    const std::string place = " 0x20 " + std::to_string(sensor.lun) + ' ' + std::to_string(sensor.number);
    out << "sensor_add" << place << hex(sensor.type) << " 0x01\n";
    out << "sensor_set_value" << place << hex(sensor.reading) << " 0\n";
    out << "sensor_set_threshold" << place << ' ' << word_of(sensor.access) << ' ';
    for (unsigned bit = 6; bit-- > 0;)
        out << (sensor.live_thresholds >> bit & 1);
    for (unsigned bit = 6; bit-- > 0;)
        out << hex(sensor.codes[bit]);
    out << "\nsensor_set_event_support" << place << " enable scanning per-state";
    for (int mask = 0; mask < 4; ++mask)
        out << " 000000000000000";
    out << '\n';
    add_record(out, record_of(sensor));
}

void write_emulation(std::ostream& out, const Simulation& simulation) {
    out << "mc_setbmc 0x20\nmc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02\nsel_enable 0x20 1000 "
           "0x0a\n";
    for (const Sensor& sensor : simulation.sensors)
        add_sensor(out, sensor);
    for (const auto& record : simulation.more_records)
        add_record(out, record);
    out << "mc_enable 0x20\n";
}

void write_lan(std::ostream& out, const Simulation& simulation) {
    out << "name \"zelsim\"\n";
    if (!simulation.module.empty()) {
        out << "loadlib \"" << simulation.module << "\" \"" << simulation.folder << "\"\n";
    }
    out << "set_working_mc 0x20\n  startlan 1\n    addr 127.0.0.1 " << simulation.port
        << "\n    priv_limit admin\n";
    for (const char* level : {"callback", "user", "operator", "admin"})
        out << "    allowed_auths_" << level << " none md2 md5 straight\n";
    out << "    guid a123456789abcdefa123456789abcdef\n  endlan\n"
        << "  user 2 true \"" << kUser << "\" \"" << kPassword << "\" admin 10 none md2 md5 straight\n";
}

Sensor temperature(std::string name, std::uint8_t number, std::uint8_t entity, std::uint8_t instance,
                   int warning, int fatal) {
    Sensor sensor;
    sensor.name = std::move(name);
    sensor.number = number;
    sensor.entity = entity;
    sensor.instance = instance;
    sensor.codes = {5, 0, -5, warning, fatal, fatal + 5};
    return sensor;
}

/// A voltage of `factor` millivolts a step, nominal at code 180, thresholds 5 and 10 per cent around it.
Sensor voltage(std::string name, std::uint8_t number, int factor) {
    Sensor sensor;
    sensor.name = std::move(name);
    sensor.number = number;
    sensor.type = 2;
    sensor.unit = 4;
    sensor.format = 0;
    sensor.factor = factor;
    sensor.exponent = -3;
    sensor.codes = {171, 162, 153, 189, 198, 207};
    sensor.reading = 180;
    sensor.max_code = 255;
    sensor.min_code = 0;
    return sensor;
}

void restrict(Sensor& sensor, Access access, std::uint8_t thresholds) {
    sensor.access = access;
    sensor.thresholds = thresholds;
    sensor.live_thresholds = thresholds;
}

}  // namespace

std::vector<std::uint8_t> record_of(const Sensor& sensor) {
    const bool readable = sensor.access != Access::none;
    const bool settable = sensor.access == Access::settable;
    const std::array<int, 6>& codes = sensor.codes;
    std::vector<std::uint8_t> record{0,
                                     0,
                                     0x51,
                                     0x01,
                                     0,
                                     0x20,
                                     sensor.lun,
                                     sensor.number,
                                     sensor.entity,
                                     sensor.instance,
                                     0x7f,
                                     byte(0x40 | (settable   ? 2
                                                  : readable ? 1
                                                             : 0)
                                                     << 2),
                                     sensor.type,
                                     0x01,
                                     0,
                                     0,
                                     0,
                                     0,  // no events
                                     byte(readable ? sensor.thresholds : 0),
                                     byte(settable ? sensor.thresholds & ~sensor.not_settable : 0),
                                     byte(sensor.format << 6),
                                     sensor.unit,
                                     0,
                                     sensor.linearisation,
                                     byte(sensor.factor),
                                     high_bits(sensor.factor),
                                     byte(sensor.offset),
                                     high_bits(sensor.offset),
                                     0,
                                     byte((sensor.exponent & 15) << 4 | (sensor.offset_exponent & 15)),
                                     0,
                                     0,
                                     0,
                                     0,
                                     byte(sensor.max_code),
                                     byte(sensor.min_code)};
    for (const unsigned threshold : {kUnr, kUc, kUnc, kLnr, kLc, kLnc})
        record.push_back(byte(codes[threshold]));
    record.insert(record.end(), {1, 1, 0, 0, 0, byte(0xc0 | static_cast<int>(sensor.name.size()))});
    record.insert(record.end(), sensor.name.begin(), sensor.name.end());
    record[4] = byte(static_cast<int>(record.size()) - 5);
    return record;
}

std::vector<Sensor> small_server() {
    std::vector<Sensor> sensors{
        temperature("CPU1 Temp", 1, 3, 1, 85, 95),
        temperature("CPU2 Temp", 2, 3, 2, 85, 95),
        temperature("Inlet Temp", 3, 55, 1, 38, 42),
        temperature("Exhaust Temp", 4, 7, 1, 70, 75),
        temperature("DIMM A Temp", 5, 32, 1, 80, 85),
        temperature("DIMM B Temp", 6, 32, 2, 80, 85),
        temperature("PCH Temp", 7, 7, 1, 90, 100),
        temperature("PSU Temp", 8, 10, 1, 65, 75),
        temperature("Ambient", 9, 23, 1, 40, 45),
        voltage("+12V", 20, 67),
        voltage("+5V", 21, 28),
        voltage("+3.3V", 22, 18),
        voltage("+1.8V", 23, 10),
        voltage("Vcore CPU1", 24, 6),
        voltage("Vcore CPU2", 25, 6),
        voltage("VBAT", 26, 17),
    };
    restrict(sensors[6], Access::settable, kUpperThresholds);
    restrict(sensors[7], Access::readable, kFourThresholds);
    restrict(sensors[8], Access::none, 0);
    restrict(sensors[14], Access::readable, kFourThresholds);
    restrict(sensors[15], Access::settable, 1U << kLnc | 1U << kLc);
    return sensors;
}

std::vector<Wave> small_server_waves() {
    return {
        {.number = 1, .low = 76, .high = 92, .period = 400},
        {.number = 2, .low = 48, .high = 61, .period = 520},
        {.number = 3, .low = 22, .high = 25, .period = 900},
        {.number = 4, .low = 34, .high = 41, .period = 640},
        {.number = 5, .low = 38, .high = 44, .period = 580},
        {.number = 6, .low = 36, .high = 42, .period = 740},
        {.number = 7, .low = 47, .high = 54, .period = 820},
        {.number = 8, .low = 35, .high = 40, .period = 700},
        {.number = 20, .low = 178, .high = 182, .period = 410},
        {.number = 21, .low = 177, .high = 181, .period = 530},
        {.number = 22, .low = 179, .high = 183, .period = 370},
        {.number = 23, .low = 179, .high = 181, .period = 610},
        {.number = 24, .low = 176, .high = 184, .period = 290},
        {.number = 25, .low = 177, .high = 183, .period = 350},
        {.number = 26, .low = 179, .high = 180, .period = 950},
    };
}

std::string rules_of(const std::vector<Wave>& waves) {
    std::string rules;
    for (const Wave& wave : waves)
        rules += "wave" + hex(wave.number) + hex(wave.low) + hex(wave.high) + ' ' +
                 std::to_string(wave.period) + '\n';
    return rules;
}

std::vector<Sensor> many_sensors(int temperatures, int voltages) {
    std::vector<Sensor> sensors;
    for (int n = 0; n < temperatures + voltages; ++n) {
        const Sensor volts{.name = "Rail ",
                           .type = 2,
                           .unit = 4,
                           .format = 0,
                           .factor = 63,
                           .exponent = -3,
                           .max_code = 255,
                           .min_code = 0};
        Sensor& sensor = sensors.emplace_back(n < temperatures ? Sensor{.name = "Zone "} : volts);
        sensor.name += std::to_string(n);
        sensor.lun = static_cast<std::uint8_t>(n / 250);
        sensor.number = static_cast<std::uint8_t>(n % 250 + 1);
        sensor.codes = {10 + n % 9, 5, 0, 70 + n % 20, 91 + n % 30, 125};
        if (n % 8 == 7) sensor.access = Access::none;
    }
    return sensors;
}

bool write_files(const Simulation& simulation) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path folder = simulation.folder;
    fs::create_directories(folder / "state", error);
    std::ofstream emulation(folder / "sim.emu");
    write_emulation(emulation, simulation);
    std::ofstream lan(folder / "lan.conf");
    write_lan(lan, simulation);
    std::ofstream rules(folder / "rules");
    rules << simulation.rules;
    std::ofstream password(folder / "password");
    fs::permissions(folder / "password", fs::perms::owner_read | fs::perms::owner_write, error);
    password << kPassword << '\n';
    return !error && emulation.flush() && lan.flush() && rules.flush() && password.flush();
}

std::vector<std::string> command_line(const Simulation& simulation) {
    const std::string& folder = simulation.folder;
    return {"ipmi_sim", "-c", folder + "/lan.conf", "-f", folder + "/sim.emu", "-s", folder + "/state", "-n"};
}

std::string controller_section(const Simulation& simulation) {
    return "[controller]\ninterface=lan\nhost=127.0.0.1:" + std::to_string(simulation.port) +
           "\nuser=" + kUser + "\npassword_file=" + simulation.folder +
           "/password\nworkaround=opensesspriv\n";
}

}  // namespace zel::simulator
