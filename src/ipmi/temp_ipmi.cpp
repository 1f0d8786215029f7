// SPDX-License-Identifier: GPL-3.0-or-later
#include "temp_ipmi.h"

#include <zel/access_ipmi.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>

#include "../common/messages.h"
#include "../common/msgwindow.h"
#include "../common/readstrfile.h"
#include "../common/trace.h"
#include "../common/widgets.h"
#include "sensor_panel.h"
#include "sensor_table.h"

namespace zel {

namespace {

constexpr char kModule[] = "temp_ipmi";
constexpr char kPanel[] = "TemperaturePanel_IPMI";

std::unique_ptr<TempThreshRecord[]> TempThreshData;
std::unique_ptr<TempSensorLocation[]> sTempSensorTableEx;
std::unique_ptr<TempSnapshot[]> snapshot;
std::int32_t SenNum = 0;
std::uint32_t TempMonitorFlag = 0;
char EnableTemp = kCleared;

int isnoterror(std::int64_t input, std::int64_t max, std::int64_t min) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">input=%ld,max=%ld,min=%ld.", input, max, min);
    const int result = min <= input && input <= max ? 1 : 0;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", result);
    return result;
}

int comparisionok(std::int64_t big, std::int64_t small) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">big=%ld,small=%ld.", big, small);
    const int result = big > small ? 1 : 0;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", result);
    return result;
}

Sensor sensor_at(std::int32_t index) {
    return view_of(TempThreshData[static_cast<std::size_t>(index)]);
}

std::string_view name_of(std::int32_t index) {
    return bounded_name(sTempSensorTableEx[static_cast<std::size_t>(index)].name);
}

std::int64_t value_as_read(std::int32_t index, std::size_t threshold) {
    return kept_value(snapshot[static_cast<std::size_t>(index)], threshold);
}

bool judge(std::int32_t count);

void ListFunc(newtComponent list, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    select_sensor(list);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void ChkBoxCallFunc(newtComponent, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    update_entries();
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void trace_write_failure() {
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "TempSetIpmiThreshold() failed.");
}

const SensorPanelKind kKind = {
    .sensor_label = "TEMP_SENSOR_ID",
    .threshold_labels = {"TEMP_HFATAL_ID", "TEMP_HWARNING_ID", "TEMP_LWARNING_ID", "TEMP_LFATAL_ID"},
    .enable_label = "TEMP_ENABLE_ID",
    .title = "TITTLE_TEMP_ID",
    .message_title = "MAIN_TABNAME_TEMP_ID",
    .list_width = 32,
    .editable_without_setting = true,
    .refill = Refill::from_first_empty,
    .empty_test = EmptyTest::previous_ok,
    .mark = &EnableTemp,
    .opening_flag = &TempMonitorFlag,
    .sensor = sensor_at,
    .name = name_of,
    .as_read = value_as_read,
    .in_range = isnoterror,
    .falls = comparisionok,
    .judge = judge,
    .write = [](std::int32_t count) { return TempSetIpmiThreshold(TempThreshData.get(), count); },
    .trace_write_failure = trace_write_failure,
    .on_list = ListFunc,
    .on_checkbox = ChkBoxCallFunc,
};

/// Judges sensor by sensor and flags each as it passes, up to the first that fails.
bool judge(std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) {
        const Sensor sensor = sensor_at(i);
        if (!is_judged(sensor)) continue;
        const bool in_range = is_in_range(kKind, sensor);
        const bool in_order = is_in_order(kKind, sensor);
        if (!in_range || !in_order) {
            show_message(kKind.message_title, text(in_range ? "COMPARISION_ID" : "EXCESS_LIMITATION_ID"));
            return false;
        }
        set_change_flag(kKind, i);
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_INFO, "TempThreshData[%d].bChangeThreshFlag=%d", i,
                     static_cast<int>(*sensor.changed));
    }
    return true;
}

void InitTempData() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    for (TempThreshRecord& record : std::span(TempThreshData.get(), TEMP_SENSORS_MAX))
        clear_record(record);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

int GetTempValue(std::int32_t* senNum) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    InitTempData();
    if (GetIpmiTempLocation(senNum, sTempSensorTableEx.get()) == 0) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetIpmiTempLocation() failed.return FALSE.");
        return 0;
    }
    *senNum = std::clamp(*senNum, 0, TEMP_SENSORS_MAX);
    if (TempGetIpmiThreshold(sTempSensorTableEx.get(), TempThreshData.get(), *senNum) <= 0) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<TempGetIpmiThreshold() failed.return FALSE.");
        return 0;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "*senNum=%d", *senNum);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return TRUE.");
    return 1;
}

void free_tables() {
    sTempSensorTableEx.reset();
    TempThreshData.reset();
    snapshot.reset();
}

/// Tells that memory is short for a table, gives back the others and traces it.
bool allocation_failed(const char* trace) {
    msgWindow("Error", "ok", "malloc error!");
    free_tables();
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_RESOURCE, "%s", trace);
    return false;
}

bool allocate_tables() {
    if (!allocate(TempThreshData, TEMP_SENSORS_ROOM))
        return allocation_failed("<TempThreshData malloc failed!");
    if (!allocate(sTempSensorTableEx, TEMP_SENSORS_ROOM))
        return allocation_failed("<sTempSensorTableEx malloc failed!");
    if (!allocate(snapshot, TEMP_SENSORS_MAX)) return allocation_failed("<Comp malloc failed!");
    return true;
}

bool read_sensors() {
    SenNum = 0;
    const BusyLine busy("IPMISENSOR_READ_ID");
    return GetTempValue(&SenNum) != 0;
}

void keep_as_read() {
    for (std::size_t i = 0; i < static_cast<std::size_t>(SenNum); ++i)
        snapshot[i] = snapshot_of<TempSnapshot>(TempThreshData[i]);
    TempMonitorFlag = TempThreshData[0].dwMonitorFlag;
}

}  // namespace

void TemperaturePanel_IPMI(std::int32_t version) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">version=%d.", version);
    if (!allocate_tables()) return;
    if (!read_sensors()) {
        show_message("MAIN_TABNAME_TEMP_ID", text("IPMISENSOR_GET_ID"));
        free_tables();
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetTempValue failed.");
        return;
    }
    keep_as_read();
    run_sensor_panel(kKind, SenNum);
    free_tables();
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
