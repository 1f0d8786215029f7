// SPDX-License-Identifier: GPL-3.0-or-later
// Every call that writes, with a fault at each of its steps: the store then has the old or the new settings,
// the result says which, nothing is left lying about, and the next call does its work.
#include <array>
#include <functional>
#include <memory>

#include "answered_controller.h"
#include "home.h"
#include "injector.h"
#include "store/registry.h"
#include "zel/access_control.h"
#include "zel/access_ipmi.h"
#include "zel/access_monitor.h"
#include "zel/sensorshare.h"
#include "zel/win32.h"

namespace zel::test {
namespace {

using faults::Fault;
using faults::What;

/// One call. Its settings come in two versions, 0 and 1.
struct Call {
    const char* name;
    bool (*write)(int version);  ///< True when the call says that it is written.
    /// What stands there now: one part for each of the writes that the call is made of.
    Strings (*read)();
    bool mends = true;  ///< It replaces a store that does not parse.
};

template <class Record>
Strings part_of(const Record& record) {
    return {std::string(reinterpret_cast<const char*>(&record), sizeof record)};
}

template <class Record, auto get>
Strings read_record() {
    Record record{};
    get(&record);
    return part_of(record);
}

template <auto get>
Strings read_name() {
    std::array<char, RACK_NAME_SIZE> name{};
    get(name.data());
    return {name.data()};
}

/// A caller's tables of storage devices.
struct Disks {
    char names[STORAGE_DEVICES_MAX][30] = {"sda", "sdb"};
    StorageThresholdItem values[STORAGE_DEVICES_MAX][4] = {};

    explicit Disks(int version) {
        for (auto& row : values)
            std::ranges::fill(row, StorageThresholdItem{30 + version, 20, STORAGE_STATE_ON});
    }
};

Strings read_disks() {
    const auto disks = std::make_unique<Disks>(0);
    int interval = 0;
    int count = 0;
    ReadThresholdFromFile(&interval, &count, disks->names, disks->values);
    EXPECT_EQ(count, 2);
    return {std::to_string(interval) + part_of(disks->values)[0]};
}

bool write_filesystems(int version) {
    const auto head = std::make_unique<FsThresholdRecord>();
    head->path[0] = '/';
    head->mode = FS_MODE_PERCENT;
    head->fatalReportPercent = 90 + version;
    head->fatalResetPercent = 80 + version;
    head->warningReportPercent = 70 + version;
    head->warningResetPercent = 60 + version;
    return ResetFilesysService(head.get(), 30 + version) != FS_WRITE_FAILED;
}

Strings read_filesystems() {
    const auto head = std::make_unique<FsThresholdRecord>();
    int cycle = 0;
    EXPECT_EQ(File_ReadThresholdFromFile(head.get(), &cycle), 1);
    return {std::to_string(cycle) + part_of(*head)[0]};
}

/// Two writes: the key, then the value; the key alone is no setting.
bool write_event_log(int version) {
    const std::uint32_t seconds = 30U + static_cast<std::uint32_t>(version);
    HKEY key = nullptr;
    if (RegCreateKeyEx(HKEY_LOCAL_MACHINE, "SOFTWARE\\QUD\\ZELALERTMAN\\REPORTTABLE\\EVENTLOG", 0, nullptr, 0,
                       KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return false;
    const bool written =
        RegSetValueEx(key, "CYCLE", 0, REG_DWORD, reinterpret_cast<const std::uint8_t*>(&seconds),
                      sizeof seconds) == ERROR_SUCCESS;
    RegCloseKey(key);
    return written;
}

std::string number(const std::string& key, const char* name) {
    return std::to_string(store::registry::get_dword("SOFTWARE/QUD/" + key, name).value_or(0));
}

/// One write for each sensor; thresholds of the first one too.
bool write_sensors(int version) {
    const auto places = std::make_unique<std::array<TempSensorLocation, TEMP_SENSORS_ROOM>>();
    const auto rows = std::make_unique<std::array<TempThreshRecord, TEMP_SENSORS_ROOM>>();
    int count = 0;
    if (GetIpmiTempLocation(&count, places->data()) == 0) return false;
    if (TempGetIpmiThreshold(places->data(), rows->data(), count) <= 0) return false;
    for (int i = 0; i < count; ++i)
        rows->at(static_cast<std::size_t>(i)).dwMonitorFlag = static_cast<std::uint32_t>(version);
    rows->front().bChangeThreshFlag = 1;
    rows->front().lHighFatal = 85 + version;
    return TempSetIpmiThreshold(rows->data(), count) > 0;
}

bool write_watchdog(int version) {
    WdtRecord record{.qwHangEnable = 1, .qwInterval = 40, .qwTimeout = 100, .qwTimeoutAct = 1, .library = 0};
    record.qwInterval += static_cast<unsigned>(version);
    return SetAllofWDT(&record) == 0;
}

const std::vector<Call> kCalls{
    {"CPU thresholds",
     [](int version) {
         const CpuThresholdRow row{1, 90 + version, 80, 70, 60};
         return PutCpuThreshold(0, &row) != 0;
     },
     [] {
         CpuThresholdRow row{};
         GetCpuThreshold(0, &row);
         return part_of(row);
     }},
    {"CPU cycle",
     [](int version) {
         const CpuCycleRecord cycle{10 + version, 60 + version};
         return PutCycletoReg(&cycle) != 0;
     },
     read_record<CpuSettingsRecord, GetCpuDataFromRegistry>},
    {"storage thresholds",
     [](int version) {
         const auto disks = std::make_unique<Disks>(version);
         return WriteThreshold(30 + version, 2, disks->names, disks->values) != STORAGE_WRITE_FAILED;
     },
     read_disks},
    {"storage defaults",
     [](int version) {
         const auto disks = std::make_unique<Disks>(version);
         return SetDefaultStorageService(30 + version, 2, disks->names, disks->values, version) !=
                STORAGE_WRITE_FAILED;
     },
     read_disks},
    {"file systems", write_filesystems, read_filesystems},
    {"LAN",
     [](int version) {
         const LanSettingsRecord lan{30 + version, 40, 41, 42};
         return PutLanThreshold(&lan) != 0;
     },
     read_record<LanSettingsRecord, GetLanDataFromRegistry>},
    {"RAID controllers", [](int version) { return ResetMylexService(30 + version) != MYLEX_WRITE_FAILED; },
     read_record<MylexThresholdBlock, Mylex_ReadThresholdFromFile>},
    {"event log", write_event_log,
     [] { return Strings{number("ZELALERTMAN/REPORTTABLE/EVENTLOG", "CYCLE")}; }},
    {"rack name", [](int version) { return ApplyRackmount(version == 0 ? "first" : "the second rack") != 1; },
     read_name<GetCurrentRackId>},
    {"SNMP flags",
     [](int version) {
         const SnmpFlags flags{1, version};
         return SetSnmpFlagstoReg(&flags) != 1;
     },
     read_record<SnmpFlags, GetSnmpFlagsfromReg>},
    {"SNMP community", [](int version) { return SetCommunityNametoReg(version == 0 ? "one" : "two") != 1; },
     read_name<GetCommunityNamefromReg>},
    {"shutdown",
     [](int version) {
         ShutdownRecord record{};
         record.dwHangEnable = 1;
         record.dwTimeout = 600U + static_cast<unsigned>(version);
         return SetAllofShutDown(&record) == 0;
     },
     read_record<ShutdownRecord, GetAllofShutDown>},
    {"watchdog", write_watchdog,
     [] {
         WdtRecord record{};
         GetAllofWDT(&record);
         record.library = 0;  // counts the writes
         return part_of(record);
     }},
    {"sensors", write_sensors,
     [] {
         return Strings{
             number("ZELAgent/Sensors/0.1", "Monitor") + ' ' + number("ZELAgent/Sensors/0.1", "HighFatal"),
             number("ZELAgent/Sensors/0.2", "Monitor")};
     },
     false},
    {"shared sensors",
     [](int version) {
         return (version == 0 ? DisableSharedSensor : EnableSharedSensor)(SHARED_SENSOR_ALL) == version;
     },
     [] { return Strings{std::to_string(GetSharedSensorStatus())}; }, false},
};

/// What stands in the state folder before the call.
enum class Before { nothing, settings, unreadable };
constexpr const char* kGarbage = "no key file\n";

class Faults : public testing::Test {
  protected:
    void SetUp() override {
        using namespace std::string_literals;
        for (const char* disk : {"sda", "sdb"}) {
            fs::create_directories(home("sys/"s + disk));
            write_text(home("sys/"s + disk + "/size"), "8\n");
        }
        write_text(home("mountinfo"), "1 1 8:1 / / rw - ext4 x rw\n");
        fs::create_directories(home("dmi"));
        write_text(home("dmi/smbios_entry_point"), "_SM3_\x11\x18\3\2\0\1\0\x40\0\0\0\0\0\0\0\0\0\0\0"s);
        write_text(home("dmi/DMI"), "\3\x09\2\0\1\x1C\0\0\0C\0\0\177\4\3\0\0\0"s);
        write_text(home("agent.conf"), "[monitor]\nsys_block=" + home("sys") +
                                           "\nmountinfo=" + home("mountinfo") +
                                           "\n[hardware]\nsmbios_tables=" + home("dmi") + '\n');
        answer_request = controller_with({{.name = "A"}, {.name = "B", .number = 2}});
    }

    static void prepare(const Call& call, Before before) {
        fs::remove_all(base::settings_folder());
        if (before == Before::settings) {
            ASSERT_TRUE(call.write(0));
        } else if (before == Before::unreadable) {
            fs::create_directories(base::settings_folder());
            for (const char* name : {"registry.conf", "storage.conf", "filesystem.conf", "zelmlx.inf"})
                write_text(state(name), kGarbage);
        }
    }

    /// Files whose names contain `part`, or, with an empty one, those that hold what could not be read.
    static long files(const std::string& part) {
        const fs::recursive_directory_iterator all(base::settings_folder());
        return std::count_if(fs::begin(all), fs::end(all), [&](const fs::directory_entry& entry) {
            if (!part.empty()) return entry.path().filename().string().find(part) != std::string::npos;
            return entry.is_regular_file() && read_text(entry.path()) == kGarbage;
        });
    }

    /// Runs the call with a fault. False when the call came to its end before it.
    bool strike(const Call& call, Before before, const Fault& fault) {
        prepare(call, before);
        const Strings old = call.read();
        prepare(call, before);  // reading may make a file
        bool told = false;
        faults::Outcome outcome;
        if (fault.what == What::kill) {
            outcome.fired = finish_process(start_process([&] {
                                faults::arm(base::settings_folder(), fault);
                                return call.write(1) ? 0 : 1;
                            })) == 128 + SIGKILL;
        } else {
            faults::arm(base::settings_folder(), fault);
            told = call.write(1);
            outcome = faults::disarm();
        }
        const Strings found = call.read();
        EXPECT_FALSE(before == Before::unreadable && files("") < 4) << "lost";
        EXPECT_TRUE(call.write(1)) << "the next call";
        const Strings wanted = call.read();
        EXPECT_EQ(files(".tmp."), 0);
        EXPECT_NE(wanted, old);
        bool all_new = true;
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_TRUE(found[i] == old[i] || found[i] == wanted[i]) << "a mix in part " << i;
            all_new = all_new && found[i] == wanted[i];
        }
        // Told as a failure with the new settings in place: only what could not be synced any more.
        EXPECT_FALSE(outcome.too_early);
        EXPECT_TRUE(fault.what == What::kill || outcome.fired || outcome.folder_synced);
        const bool not_synced = all_new && outcome.renamed && outcome.call == "fsync";
        EXPECT_TRUE(fault.what == What::kill || told == all_new || not_synced);
        return outcome.fired;
    }
};

TEST_F(Faults, LeaveTheOldOrTheNewSettingsAndTheResultSaysWhich) {
    int errors = 0;
    int kills = 0;
    for (const Call& call : kCalls) {
        for (const Before before : {Before::nothing, Before::settings, Before::unreadable}) {
            if (before == Before::unreadable && !call.mends) continue;
            for (const auto& [what, error] :
                 {std::pair{What::error, EIO}, {What::error, EROFS}, {What::full, ENOSPC}, {What::kill, 0}}) {
                for (int at = 1;; ++at) {
                    SCOPED_TRACE(std::string(call.name) +
                                 ", before: " + std::to_string(static_cast<int>(before)) + ", error " +
                                 std::to_string(error) + " at step " + std::to_string(at));
                    if (!strike(call, before, {.at = at, .what = what, .error = error})) break;
                    ++(what == What::kill ? kills : errors);
                    ASSERT_LT(at, 100);
                }
            }
        }
    }
    std::printf("%zu calls: %d faults injected, %d kills survived\n", kCalls.size(), errors, kills);
    EXPECT_GT(std::min(errors, kills), 200);
}

}  // namespace
}  // namespace zel::test
