// SPDX-License-Identifier: GPL-3.0-or-later
#include "voltage_ipmi.h"

#include <zel/access_ipmi.h>

#include <algorithm>
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

constexpr char kModule[] = "voltage_ipmi";
constexpr char kPanel[] = "VoltagePanel";

std::unique_ptr<VoltThreshRecord[]> VOLThreshData;
std::unique_ptr<VoltSensorLocation[]> sVOLSensorTableEx;
std::unique_ptr<VoltSnapshot[]> snapshot;
std::int32_t SenNum = 0;
std::uint32_t VOLMonitorFlag = 0;
char EnableVOL = kCleared;

int _isnoterror(std::int64_t input, std::int64_t max, std::int64_t min) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    const int result = min <= input && input <= max ? 1 : 0;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", result);
    return result;
}

int _comparisionok(std::int64_t big, std::int64_t small) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">big=%ld,small=%ld.", big, small);
    const int result = big > small ? 1 : 0;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", result);
    return result;
}

Sensor sensor_at(std::int32_t index) {
    return view_of(VOLThreshData[static_cast<std::size_t>(index)]);
}

std::string_view name_of(std::int32_t index) {
    return bounded_name(sVOLSensorTableEx[static_cast<std::size_t>(index)].name);
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

void CheckBoxCallFunc(newtComponent, void*) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    update_entries();
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

void trace_write_failure() {
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "VoltpSetIpmiThreshold failed.");
}

const SensorPanelKind kKind = {
    .sensor_label = "VOL_SENSOR_ID",
    .threshold_labels = {"VOL_HFATAL_ID", "VOL_HWARNING_ID", "VOL_LWARNING_ID", "VOL_LFATAL_ID"},
    .enable_label = "VOL_ENABLE_ID",
    .title = "TITTLE_VOL_ID",
    .message_title = "MAIN_TABNAME_VOL_ID",
    .list_width = 25,
    .editable_without_setting = false,
    .refill = Refill::empty_only,
    .empty_test = EmptyTest::now_selected,
    .mark = &EnableVOL,
    .opening_flag = &VOLMonitorFlag,
    .sensor = sensor_at,
    .name = name_of,
    .as_read = value_as_read,
    .in_range = _isnoterror,
    .falls = _comparisionok,
    .judge = judge,
    .write = [](std::int32_t count) { return VoltpSetIpmiThreshold(VOLThreshData.get(), count); },
    .trace_write_failure = trace_write_failure,
    .on_list = ListFunc,
    .on_checkbox = CheckBoxCallFunc,
};

/// Judges all sensors first; only when every one passed are the changed ones flagged.
bool judge(std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) {
        const Sensor sensor = sensor_at(i);
        if (!is_judged(sensor)) continue;
        if (!is_in_range(kKind, sensor)) {
            show_message(kKind.message_title, text("EXCESS_LIMITATION_ID"));
            return false;
        }
        if (!is_in_order(kKind, sensor)) {
            show_message(kKind.message_title, text("COMPARISION_ID"));
            return false;
        }
    }
    for (std::int32_t i = 0; i < count; ++i) {
        if (is_judged(sensor_at(i))) set_change_flag(kKind, i);
    }
    return true;
}

void InitVOLData() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    for (VoltThreshRecord& record : std::span(VOLThreshData.get(), VOLT_THRESH_ROOM))
        clear_record(record);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

int GetVOLValue(std::int32_t* senNum) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    InitVOLData();
    if (GetIpmiVoltLocation(senNum, sVOLSensorTableEx.get()) == 0) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetIpmiVoltLocation failed.return FALSE.");
        return 0;
    }
    *senNum = std::clamp(*senNum, 0, VOLT_SENSORS_MAX);
    if (VoltGetIpmiThreshold(sVOLSensorTableEx.get(), VOLThreshData.get(), *senNum) == 0) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<VoltGetIpmiThreshold failed.return FALSE.");
        return 0;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return TRUE.");
    return 1;
}

void free_tables() {
    VOLThreshData.reset();
    sVOLSensorTableEx.reset();
    snapshot.reset();
}

/// Tells that memory is short for a table, gives back the others and traces it.
bool allocation_failed(const char* trace) {
    msgWindow("ERROR", " ok ", "malloc error");
    free_tables();
    ZEL_TRACE_AS(kPanel, TRACE_LEVEL_RESOURCE, "%s", trace);
    return false;
}

bool allocate_tables() {
    if (!allocate(sVOLSensorTableEx, VOLT_SENSORS_ROOM))
        return allocation_failed("<malloc VOLTSENSORTABLE failed.");
    if (!allocate(VOLThreshData, VOLT_THRESH_ROOM))
        return allocation_failed("<malloc ZELAIPMIVOLTTHRESHDATA failed.");
    if (!allocate(snapshot, VOLT_SENSORS_MAX)) return allocation_failed("<malloc _compare failed.");
    return true;
}

bool read_sensors() {
    SenNum = 0;
    const BusyLine busy("IPMISENSOR_READ_ID");
    return GetVOLValue(&SenNum) != 0;
}

void keep_as_read() {
    for (std::size_t i = 0; i < static_cast<std::size_t>(SenNum); ++i)
        snapshot[i] = snapshot_of<VoltSnapshot>(VOLThreshData[i]);
    VOLMonitorFlag = VOLThreshData[0].dwMonitorFlag;
}

}  // namespace

void VoltagePanel(std::int32_t version) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">version=%d.", version);
    if (!allocate_tables()) return;
    if (!read_sensors()) {
        show_message("MAIN_TABNAME_VOL_ID", text("IPMISENSOR_GET_ID"));
        free_tables();
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetVOLValue failed.");
        return;
    }
    keep_as_read();
    run_sensor_panel(kKind, SenNum);
    free_tables();
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<");
}

}  // namespace zel
