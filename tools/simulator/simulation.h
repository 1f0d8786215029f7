// SPDX-License-Identifier: GPL-3.0-or-later
// A simulated management controller: the files that ipmi_sim needs to be one, with sensors of our choice.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace zel::simulator {

/// Bits of the masks of thresholds and places in the lists of codes.
enum Threshold : unsigned { kLnc, kLc, kLnr, kUnc, kUc, kUnr };
inline constexpr std::uint8_t kAllThresholds = 0x3f;
inline constexpr std::uint8_t kUpperThresholds = 1U << kUnc | 1U << kUc;
inline constexpr std::uint8_t kFourThresholds = kUpperThresholds | 1U << kLnc | 1U << kLc;

enum class Access : std::uint8_t { none, readable, settable };

/// A sensor; its value is (factor * code + offset * 10^offset_exponent) * 10^exponent.
struct Sensor {
    std::string name;
    std::uint8_t lun = 0;
    std::uint8_t number = 1;
    std::uint8_t type = 1;  ///< 1 temperature, 2 voltage.
    std::uint8_t entity = 7;
    std::uint8_t instance = 1;
    std::uint8_t unit = 1;    ///< 1 degrees Celsius, 2 Fahrenheit, 3 Kelvin, 4 volts.
    std::uint8_t format = 2;  ///< 0 unsigned, 1 one's complement, 2 two's complement.
    int factor = 1;
    int offset = 0;
    int exponent = 0;
    int offset_exponent = 0;
    std::uint8_t linearisation = 0;  ///< The function, as IPMI numbers them, that the value goes through.
    Access access = Access::settable;
    std::uint8_t thresholds = kAllThresholds;        ///< Those that the record says can be read,
    std::uint8_t not_settable = 0;                   ///< and those of them that cannot be set all the same.
    std::uint8_t live_thresholds = kAllThresholds;   ///< Those that the controller then gives.
    std::array<int, 6> codes{5, 0, -5, 70, 80, 90};  ///< LNC, LC, LNR, UNC, UC, UNR.
    int reading = 35;                                ///< As a code.
    int max_code = 127;
    int min_code = -128;
};

/// The sensor's data record.
std::vector<std::uint8_t> record_of(const Sensor& sensor);

/// How a sensor's reading moves: up and down again between two codes, once in a period of seconds.
struct Wave {
    std::uint8_t number;
    std::uint8_t low;
    std::uint8_t high;
    unsigned period;
};

struct Simulation {
    std::string folder;  ///< Absolute; made when missing.
    int port = 0;        ///< UDP, on 127.0.0.1.
    std::string module;  ///< Path of the module with our additions; may be empty.
    std::vector<Sensor> sensors;
    std::vector<std::vector<std::uint8_t>> more_records;  ///< Added to the repository as they are.
    std::string rules = {};                               ///< What the module does from the start on.
};

inline constexpr const char* kUser = "admin";
inline constexpr const char* kPassword = "secret";

/// Sixteen sensors of a small server, of every kind that the panels treat differently.
std::vector<Sensor> small_server();

/// How they move, slowly and within their thresholds, but for "CPU1 Temp": it has reached its high warning two
/// minutes after the start and stays there for three in seven, so that two readings a minute apart always see it, and
/// always see it end.
std::vector<Wave> small_server_waves();

/// The module's rules for them.
std::string rules_of(const std::vector<Wave>& waves);

/// "Zone 0", "Zone 1" ... and after them "Rail N", 250 on a LUN, with thresholds of their own, every eighth
/// without any. Together at most 750.
std::vector<Sensor> many_sensors(int temperatures, int voltages);

/// Writes lan.conf, sim.emu, rules and `password` (for password_file) into the folder. False when that failed.
bool write_files(const Simulation& simulation);

/// The command line that runs the simulation in the foreground.
std::vector<std::string> command_line(const Simulation& simulation);

/// The section of agent.conf that leads to it.
std::string controller_section(const Simulation& simulation);

}  // namespace zel::simulator
