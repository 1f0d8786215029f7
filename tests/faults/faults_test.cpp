// SPDX-License-Identifier: GPL-3.0-or-later
// Every call that writes, with a fault at each of its steps: the store then has the old or the new settings,
// the result says which, nothing is left lying about, and the next call does its work.
#include <set>

#include "answered_controller.h"
#include "home.h"
#include "injector.h"
#include "store/key_file.h"
#include "zel/access_control.h"
#include "zel/access_ipmi.h"
#include "zel/access_monitor.h"
#include "zel/sensorshare.h"
#include "zel/win32.h"

namespace zel::test {
namespace {

constexpr std::array kFiles{"registry.conf", "storage.conf", "filesystem.conf", "zelmlx.inf"};

/// Calls `put` with a record of these values.
template <auto put, class Record, class... Values>
int with(Values... values) {
    Record record{values...};
    return put(&record);
}

int put_row(const CpuThresholdRow* row) {
    return PutCpuThreshold(0, row);
}

bool write_disks(int version, bool default_of_one) {
    static StorageNames names{"sda", "sdb"};
    static StorageValues values;
    for (auto& row : values)
        std::ranges::fill(row, StorageThresholdItem{30 + version, 20, STORAGE_STATE_ON});
    return (default_of_one ? SetDefaultStorageService(30 + version, 2, names, values, version)
                           : WriteThreshold(30 + version, 2, names, values)) != STORAGE_WRITE_FAILED;
}

bool write_filesystems(int version) {
    FsThresholdRecord root{};
    root.path[0] = '/';
    root.mode = FS_MODE_PERCENT;
    root.fatalReportPercent = 90 + version;
    root.fatalResetPercent = 80;
    root.warningReportPercent = 70;
    root.warningResetPercent = 60;
    return ResetFilesysService(&root, 30 + version) != FS_WRITE_FAILED;
}

bool write_event_log(int version) {
    HKEY key = nullptr;
    const std::array<std::uint8_t, 4> seconds{static_cast<std::uint8_t>(30 + version)};
    if (RegCreateKeyEx(HKEY_LOCAL_MACHINE, "SOFTWARE/QUD/ZELALERTMAN/REPORTTABLE/EVENTLOG", 0, nullptr, 0,
                       KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return false;
    const bool written = RegSetValueEx(key, "CYCLE", 0, REG_DWORD, seconds.data(), 4) == ERROR_SUCCESS;
    RegCloseKey(key);
    return written;
}

bool write_sensors(int version) {
    static std::array<TempSensorLocation, TEMP_SENSORS_ROOM> places;
    static std::array<TempThreshRecord, TEMP_SENSORS_ROOM> rows;
    int count = 0;
    if (GetIpmiTempLocation(&count, places.data()) == 0) return false;
    if (TempGetIpmiThreshold(places.data(), rows.data(), count) <= 0) return false;
    for (auto& row : rows)
        row.dwMonitorFlag = static_cast<std::uint32_t>(version);
    rows[0].bChangeThreshFlag = 1;
    rows[0].lHighFatal = 85 + version;
    return TempSetIpmiThreshold(rows.data(), count) > 0;
}

constexpr ShutdownRecord kShutdown[]{{1, 600, 0, {}}, {1, 601, 0, {}}};
constexpr WdtRecord kWatchdog[]{{1, 40, 100, 1, 0}, {1, 41, 100, 1, 0}};
constexpr decltype(&EnableSharedSensor) kShare[]{DisableSharedSensor, EnableSharedSensor};

/// One call. Its settings come in two versions, 0 and 1.
struct Call {
    const char* name;
    bool (*write)(int version);  ///< True when the call says that it is written.
    bool in_one = true;          ///< It replaces a file once; else once for each group of it.
    bool mends = true;           ///< It replaces a store that does not parse.
};

const std::array kCalls{
    Call{"CPU", [](int v) { return with<put_row, CpuThresholdRow>(1, 90 + v, 80, 70, 60) != 0; }},
    Call{"CPU cycle", [](int v) { return with<PutCycletoReg, CpuCycleRecord>(10 + 2 * v, 60) != 0; }},
    Call{"storage thresholds", [](int v) { return write_disks(v, false); }},
    Call{"storage defaults", [](int v) { return write_disks(v, true); }},
    Call{"file systems", write_filesystems},
    Call{"LAN", [](int v) { return with<PutLanThreshold, LanSettingsRecord>(30 + v, 40, 41, 42) != 0; }},
    Call{"RAID controllers", [](int v) { return ResetMylexService(30 + v) != MYLEX_WRITE_FAILED; }},
    Call{"event log", write_event_log, false},
    Call{"rack name", [](int v) { return ApplyRackmount(v == 0 ? "first" : "the second") != 1; }},
    Call{"SNMP flags", [](int v) { return with<SetSnmpFlagstoReg, SnmpFlags>(1, v) != 1; }},
    Call{"SNMP community", [](int v) { return SetCommunityNametoReg(v == 0 ? "one" : "two") != 1; }},
    Call{"shutdown", [](int v) { return with<SetAllofShutDown, ShutdownRecord>(kShutdown[v]) == 0; }},
    Call{"watchdog", [](int v) { return with<SetAllofWDT, WdtRecord>(kWatchdog[v]) == 0; }},
    Call{"sensors", write_sensors, false, false},
    Call{"shared sensors", [](int v) { return kShare[v](SHARED_SENSOR_ALL) == v; }, true, false},
};

/// The files' groups with what stands in them, but for the count of the watchdog's writes.
std::set<std::string> content() {
    std::set<std::string> all;
    for (const std::string name : kFiles) {
        store::KeyFile file;
        store::read_key_file(state(name), file);
        for (const std::string& group : file.groups()) {
            std::string text;
            for (const std::string& key : file.keys(group))
                if (key != "Generation") text += key + '=' + file.get(group, key).value_or("?") + '\n';
            if (!text.empty()) all.insert(name + group + '\n' + text);
        }
    }
    return all;
}

/// How many files of the state folder hold `text`, and whose names contain `name`.
long files(const char* name, const char* text = "") {
    const fs::recursive_directory_iterator all(base::settings_folder());
    return std::count_if(fs::begin(all), fs::end(all), [&](const fs::directory_entry& file) {
        return file.path().filename().string().find(name) != std::string::npos &&
               (*text == '\0' || (file.is_regular_file() && read_text(file.path()) == text));
    });
}

/// What stands in the state folder before the call.
enum class Before { nothing, settings, unreadable };
constexpr const char* kGarbage = "no key file\n";

class Faults : public testing::Test {
  protected:
    void SetUp() override {
        using namespace std::string_literals;
        fs::create_directory(home("dmi"));
        write_text(home("dmi/smbios_entry_point"), "_SM3_\x11\x18\3\2\0\1\0\x40\0\0\0\0\0\0\0\0\0\0\0"s);
        write_text(home("dmi/DMI"), "\3\x09\2\0\1\x1C\0\0\0C\0\0\177\4\3\0\0\0"s);
        write_text(home("agent.conf"), "[hardware]\nsmbios_tables=" + home("dmi") + '\n');
        answer_request = controller_with({{.name = "A"}, {.name = "B", .number = 2}});
    }

    static void prepare(const Call& call, Before before) {
        fs::remove_all(base::settings_folder());
        fs::create_directories(base::settings_folder());
        if (before == Before::settings) call.write(0);
        for (const char* name : kFiles)
            if (before == Before::unreadable) write_text(state(name), kGarbage);
    }

    /// Runs the call with a fault at one of its steps. What is wrong then; `fired` turns false when the call
    /// ended before that step.
    static std::string strike(const Call& call, Before before, faults::Injection fault, bool& fired) {
        prepare(call, before);
        const auto old = content();
        call.write(1);
        const auto wanted = content();
        prepare(call, before);
        const bool kill = fault.error == faults::kKill;
        const auto body = [&] { return fault.during([&] { return call.write(1); }); };
        const bool told = kill ? finish_process(start_process(body)) == 128 + SIGKILL : body();
        fired = kill ? told : !fault.call.empty();

        const auto found = content();
        const auto known = [&](const auto& part) { return old.contains(part) || wanted.contains(part); };
        const bool parts = !call.in_one && found.size() >= old.size() && std::ranges::all_of(found, known);
        if (found != old && found != wanted && !parts) return "a mix";
        if (wanted == old) return "nothing new";
        if (before == Before::unreadable && files("", kGarbage) < std::ssize(kFiles))
            return "what could not be read is lost";
        if (fault.too_early) return "renamed before it was synced";
        if (!kill && !fired && !fault.folder_synced) return "the folder is not synced";
        // Told as a failure with the new settings in place: only what could not be synced any more.
        const bool not_synced = found == wanted && fault.renamed && fault.call == "fsync";
        if (!kill && told != (found == wanted) && !not_synced)
            return told ? "told as written" : "told as failed";
        if (!call.write(1) || content() != wanted) return "the next call does not do its work";
        if (files(".tmp.") > 0) return "a temporary file is left";
        return "";
    }
};

TEST_F(Faults, LeaveTheOldOrTheNewSettingsAndTheResultSaysWhich) {
    int struck = 0;
    for (const Call& call : kCalls) {
        std::string wrong;
        for (const Before before : {Before::nothing, Before::settings, Before::unreadable}) {
            for (const int error : {EIO, ENOSPC, faults::kKill}) {
                bool fired = call.mends || before != Before::unreadable;
                for (int at = 1; fired && wrong.empty(); ++at, ++struck) {
                    wrong = strike(call, before, {base::settings_folder(), at, error}, fired);
                    EXPECT_EQ(wrong, "") << call.name << ", before: " << static_cast<int>(before)
                                         << ", error " << error << " at step " << at;
                }
            }
        }
    }
    EXPECT_GT(struck, 900);
}

}  // namespace
}  // namespace zel::test
