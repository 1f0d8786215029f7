// SPDX-License-Identifier: GPL-3.0-or-later
#include "voltage_ipmi.h"

#include <agntconf/messages.h>
#include <agntconf/msgwindow.h>
#include <agntconf/readstrfile.h>
#include <agntconf/widgets.h>
#include <zel/access_ipmi.h>
#include <zel/trace.h>

#include <algorithm>
#include <memory>
#include <span>

#include "sensor_kind.h"
#include "sensor_panel.h"

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

struct Voltage {
    static constexpr auto& records = VOLThreshData;
    static constexpr auto& locations = sVOLSensorTableEx;
    static constexpr auto& as_read = snapshot;
    static constexpr auto& count = SenNum;
    static constexpr auto& opening_flag = VOLMonitorFlag;
    static constexpr const char* module = kModule;
    static constexpr const char* panel = kPanel;
    static constexpr const char* read_failed = "<GetVOLValue failed.";
    static void tell_no_memory() { msgWindow("ERROR", " ok ", "malloc error"); }
};

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
    .sensor = sensor_at<Voltage>,
    .name = name_of<Voltage>,
    .as_read = value_as_read<Voltage>,
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
        const Sensor sensor = sensor_at<Voltage>(i);
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
        if (is_judged(sensor_at<Voltage>(i))) set_change_flag(kKind, i);
    }
    return true;
}

void InitVOLData() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    clear_records(std::span(VOLThreshData.get(), VOLT_THRESH_ROOM));
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

bool allocate_tables() {
    return allocate<Voltage>(sVOLSensorTableEx, VOLT_SENSORS_ROOM, "<malloc VOLTSENSORTABLE failed.") &&
           allocate<Voltage>(VOLThreshData, VOLT_THRESH_ROOM, "<malloc ZELAIPMIVOLTTHRESHDATA failed.") &&
           allocate<Voltage>(snapshot, VOLT_SENSORS_MAX, "<malloc _compare failed.");
}

}  // namespace

void VoltagePanel(std::int32_t version) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">version=%d.", version);
    run_kind<Voltage>(kKind, allocate_tables, GetVOLValue);
}

}  // namespace zel
