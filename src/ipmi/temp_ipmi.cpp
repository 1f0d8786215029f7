// SPDX-License-Identifier: GPL-3.0-or-later
#include "temp_ipmi.h"

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

constexpr char kModule[] = "temp_ipmi";
constexpr char kPanel[] = "TemperaturePanel_IPMI";

std::unique_ptr<TempThreshRecord[]> TempThreshData;
std::unique_ptr<TempSensorLocation[]> sTempSensorTableEx;
std::unique_ptr<TempSnapshot[]> snapshot;
std::int32_t SenNum = 0;
std::uint32_t TempMonitorFlag = 0;
char EnableTemp = kCleared;

struct Temperature {
    static constexpr auto& records = TempThreshData;
    static constexpr auto& locations = sTempSensorTableEx;
    static constexpr auto& as_read = snapshot;
    static constexpr auto& count = SenNum;
    static constexpr auto& opening_flag = TempMonitorFlag;
    static constexpr const char* module = kModule;
    static constexpr const char* panel = kPanel;
    static constexpr const char* read_failed = "<GetTempValue failed.";
    static void tell_no_memory() { msgWindow("Error", "ok", "malloc error!"); }
};

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
    .sensor = sensor_at<Temperature>,
    .name = name_of<Temperature>,
    .as_read = value_as_read<Temperature>,
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
        const Sensor sensor = sensor_at<Temperature>(i);
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
    clear_records(std::span(TempThreshData.get(), TEMP_SENSORS_MAX));
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

bool allocate_tables() {
    return allocate<Temperature>(TempThreshData, TEMP_SENSORS_ROOM, "<TempThreshData malloc failed!") &&
           allocate<Temperature>(sTempSensorTableEx, TEMP_SENSORS_ROOM,
                                 "<sTempSensorTableEx malloc failed!") &&
           allocate<Temperature>(snapshot, TEMP_SENSORS_MAX, "<Comp malloc failed!");
}

}  // namespace

void TemperaturePanel_IPMI(std::int32_t version) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">version=%d.", version);
    run_kind<Temperature>(kKind, allocate_tables, GetTempValue);
}

}  // namespace zel
