// SPDX-License-Identifier: GPL-3.0-or-later
// Sensors: "temp.0=NAME,MONITOR,SETTABLE,HF,HW,LW,LF,HMAX,HMIN,LMAX,LMIN" is temperature sensor 0, "volt.0="
// voltage sensor 0: monitoring, settable, thresholds from high fatal to low fatal, their limits; "-" is none.
// What a line leaves out is S<number>,1,1,90,80,10,5,100,0,100,0. As many sensors are reported as there are
// lines, or as "temp.count=" and "volt.count=" say.
#include <zel/access_ipmi.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "script.h"

namespace {

using scripted::call;

std::string line_name(const std::string& kind, int sensor) {
    return kind + "." + std::to_string(sensor);
}

int count_of(const char* kind) {
    if (const auto count = scripted::parts(std::string(kind) + ".count"); !count.empty())
        return std::atoi(count[0].c_str());
    int count = 0;
    while (scripted::lines().contains(line_name(kind, count)))
        ++count;
    return count;
}

std::vector<std::string> description(const char* kind, int sensor) {
    const std::vector<std::string> all = {
        "S" + std::to_string(sensor), "1", "1", "90", "80", "10", "5", "100", "0", "100", "0"};
    auto told = scripted::parts(line_name(kind, sensor));
    if (told.size() < all.size())
        told.insert(told.end(), all.begin() + static_cast<std::ptrdiff_t>(told.size()), all.end());
    return told;
}

int64_t number(const std::string& part) {
    return part == "-" ? SENSOR_NO_THRESHOLD : std::strtoll(part.c_str(), nullptr, 0);
}

std::string shown_threshold(int64_t value) {
    return value == SENSOR_NO_THRESHOLD ? "-" : std::to_string(value);
}

template <class Location>
int locate(const char* kind, const char* name, int* count, Location* table, int room) {
    *count = count_of(kind);
    for (int i = 0; i < std::min(*count, room); ++i) {
        const std::string shown = description(kind, i)[0];
        std::memcpy(table[i].name, shown.data(), std::min(shown.size(), sizeof table[i].name));
        table[i].lib[0] = static_cast<uint8_t>(i);  // to be found there again
    }
    return call(name, 1);
}

template <class Location, class Record>
int64_t read(const char* kind, const char* name, const Location* table, Record* data, int count, int room) {
    const std::array fields = {&Record::lHighFatal, &Record::lHighWarning, &Record::lLowWarning,
                               &Record::lLowFatal,  &Record::lHighMax,     &Record::lHighMin,
                               &Record::lLowMax,    &Record::lLowMin};
    for (int i = 0; i < std::min(count, room); ++i) {
        if (table[i].lib[0] != static_cast<uint8_t>(i))
            scripted::note("calls", line_name(kind, i) + " was changed");
        const auto parts = description(kind, i);
        data[i].dwMonitorFlag = static_cast<uint32_t>(number(parts[1]));
        data[i].bSettable = static_cast<uint8_t>(number(parts[2]));
        std::size_t at = 3;
        for (const auto field : fields)
            data[i].*field = number(parts[at++]);
    }
    return call<int64_t>(name, 1, count);
}

// As NAME(2,{CHANGED MONITOR HF HW LW LF},{...})
template <class Record>
int64_t write(const char* name, const Record* data, int count, int room) {
    std::string rows = std::to_string(count);
    for (int i = 0; i < std::min(count, room); ++i) {
        rows +=
            ",{" + std::to_string(data[i].bChangeThreshFlag) + " " + shown_threshold(data[i].dwMonitorFlag);
        for (const auto field :
             {&Record::lHighFatal, &Record::lHighWarning, &Record::lLowWarning, &Record::lLowFatal})
            rows += " " + shown_threshold(data[i].*field);
        rows += "}";
    }
    return call<int64_t>(name, 1, rows);
}

}  // namespace

int GetIpmiTempLocation(int* senNum, TempSensorLocation* table) {
    return locate("temp", "GetIpmiTempLocation", senNum, table, TEMP_SENSORS_MAX);
}

int64_t TempGetIpmiThreshold(TempSensorLocation* table, TempThreshRecord* data, int senNum) {
    return read("temp", "TempGetIpmiThreshold", table, data, senNum, TEMP_SENSORS_MAX);
}

int64_t TempSetIpmiThreshold(TempThreshRecord* data, int senNum) {
    return write("TempSetIpmiThreshold", data, senNum, TEMP_SENSORS_MAX);
}

int GetIpmiVoltLocation(int* senNum, VoltSensorLocation* table) {
    return locate("volt", "GetIpmiVoltLocation", senNum, table, VOLT_SENSORS_MAX);
}

int VoltGetIpmiThreshold(VoltSensorLocation* table, VoltThreshRecord* data, int senNum) {
    return static_cast<int>(read("volt", "VoltGetIpmiThreshold", table, data, senNum, VOLT_SENSORS_MAX));
}

int64_t VoltpSetIpmiThreshold(VoltThreshRecord* data, int senNum) {
    return write("VoltpSetIpmiThreshold", data, senNum, VOLT_SENSORS_MAX);
}
