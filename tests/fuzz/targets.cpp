// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>
#include <optional>
#include <set>
#include <thread>

#include "../../src/common/columns.h"
#include "../../src/common/readstrfile.h"
#include "answered_controller.h"
#include "base/paths.h"
#include "base/plain_text.h"
#include "bmc/boot_options.h"
#include "bmc/sdr_cache.h"
#include "bmc/sdr_record.h"
#include "bmc/sensors_reapply.h"
#include "bmc/settings.h"
#include "chars/utf8.h"
#include "client/service_client.h"
#include "fuzz.h"
#include "service/resources.h"
#include "service/server.h"
#include "settings/filesystem_settings.h"
#include "settings/storage_settings.h"
#include "store/key_file.h"
#include "store/registry.h"
#include "system/communities.h"
#include "system/grub_entry.h"
#include "system/mounts.h"
#include "system/smbios_tables.h"
#include "zel/access_control.h"
#include "zel/access_ipmi.h"
#include "zel/access_monitor.h"
#include "zel/win32.h"

namespace zel::service {
void log(const std::string& /*line*/) {}  // the service's own would fill the terminal
}  // namespace zel::service

namespace zel::fuzz {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

/// Ends the process: a reader did what it must not.
void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "not so: %s\n", what);
    std::abort();
}

std::string_view text_of(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

std::string home(const std::string& name) {
    return base::agent_dir() + '/' + name;
}
std::string state(const std::string& name) {
    return base::settings_folder() + '/' + name;
}

void write_file(const std::string& path, std::string_view text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Cuts off the part before the first zero byte.
std::string_view take_part(std::string_view& rest) {
    const std::string_view part = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(part.size() + 1, rest.size()));
    return part;
}

int read_catalogue(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || data[0] == 0) return 0;  // without a catalogue a window opens
    prepare_locale();
    std::string buffer(text_of(data, size));
    buffer.append(1024, '\0');
    ZEL_RcFileBuf = buffer.data();
    for (const char* identifier : {"A_ID", "B_ID", "", "A", "NONE"}) {
        const std::string found = text(identifier);
        require(!found.empty() && found.size() < kTextBufferSize, "a text that fits");
        require(format_text(found, {7, "name"}, 99).size() <= 99, "a formatted text that fits");
        require(columns_of(fit(found, 30)) == 30, "a text of so many columns");
        require(columns_of(shorten(found, 20)) <= 20, "a shortened text that fits");
    }
    recode_for_screen(buffer.data(), 1024);
    return 0;
}

int read_key_text(const std::uint8_t* data, std::size_t size) {
    store::KeyFile file;
    if (!file.parse(text_of(data, size))) return 0;
    const auto groups = file.groups();
    const std::string before = file.serialise();
    store::KeyFile again;
    require(again.parse(before) && again.serialise() == before && again.groups() == groups,
            "the same content");
    for (const std::string& group : groups) {
        for (const std::string& key : file.keys(group)) {
            const auto value = file.get(group, key);
            require(again.get(group, key) == value, "the same value");
            require(!file.get_int(group, key) || store::parse_int(*value), "a number out of a value");
            if (value && file.set(group, key, *value))
                require(file.get(group, key) == value, "an equal value");
        }
        if (!file.set(group, "added", " b\\\n")) continue;
        require(again.parse(file.serialise()), "a text that parses after a change");
        require(again.get(group, "added") == " b\\\n" && again.groups() == groups, "what was set");
    }
    return 0;
}

int read_registry(const std::uint8_t* data, std::size_t size) {
    fs::remove_all(base::settings_folder());
    write_file(state("registry.conf"), text_of(data, size));
    LanSettingsRecord lan{};
    require(GetLanDataFromRegistry(&lan) == 1 || TestInputLanParameter(&lan) == 0, "valid LAN settings");
    ShutdownRecord shutdown{};
    WdtRecord watchdog{};
    require(GetAllofShutDown(&shutdown) == 0 || shutdown.dwTimeout <= 6000, "a sane time-out");
    require(GetAllofWDT(&watchdog) == 0 || watchdog.qwInterval <= 60, "a sane interval");
    CpuSettingsRecord cpu{};
    require(GetCpuDataFromRegistry(&cpu) == 1 || cpu.samplingInterval > 0, "a sampling interval");
    std::array<char, RACK_NAME_SIZE> name{};
    require(GetCurrentRackId(name.data()) == 1 || base::is_plain(name.data()), "a plain name");
    HKEY key = nullptr;
    if (RegOpenKeyEx(HKEY_LOCAL_MACHINE, "SOFTWARE\\QUD\\ZELAgent", 0, KEY_READ, &key) == ERROR_SUCCESS) {
        for (const char* value : {"CurrentVersion", "Data", "Number"}) {
            std::uint32_t room = static_cast<std::uint32_t>(name.size());
            RegQueryValueEx(key, value, nullptr, nullptr, reinterpret_cast<std::uint8_t*>(name.data()),
                            &room);
        }
        RegCloseKey(key);
    }
    const std::array values{store::registry::Entry{"Name", "rack"s}};
    const bool written =
        store::registry::set("software/qud/zelagent/rack", values) == store::Status::ok &&
        store::registry::get("SOFTWARE/QUD/ZELAgent/Rack", "name") == store::registry::Value("rack"s);
    require(written, "a value that was written");
    return 0;
}

/// Reads both threshold files and writes what it has read; what stands in them then.
std::string rewrite_thresholds() {
    settings::StorageSettings storage;
    settings::read_storage(storage);
    require(settings::save_storage(storage, std::set<std::string>{"sda"}), "storage settings to be written");
    settings::FilesystemSettings filesystems;
    settings::read_filesystems(filesystems, [](const system::SavedPaths& saved) {
        settings::FsSizes sizes;
        for (const auto& [path, watched] : saved)
            sizes.emplace(path, path.size());
        return sizes;
    });
    require(settings::save_filesystems(filesystems, std::nullopt), "file systems to be written");
    return read_file(state("storage.conf")) + read_file(state("filesystem.conf"));
}

int read_thresholds(const std::uint8_t* data, std::size_t size) {
    fs::remove_all(base::settings_folder());
    for (const char* name : {"storage.conf", "filesystem.conf", "zelmlx.inf"})
        write_file(state(name), text_of(data, size));
    const std::string written = rewrite_thresholds();
    require(rewrite_thresholds() == written, "the same settings again");
    MylexThresholdBlock raid{};
    require(Mylex_ReadThresholdFromFile(&raid) != 0 || raid.interval >= 10, "a sane interval");
    return 0;
}

int read_configuration(const std::uint8_t* data, std::size_t size) {
    write_file(base::config_file(), text_of(data, size));
    if (const auto settings = bmc::read_settings()) {
        require(settings->timeout.count() >= 1000 && settings->cipher_suite <= 17, "sane settings");
        require(settings->interface != bmc::Interface::lan || settings->user.size() <= 16,
                "a user that fits");
    }
    system::tables_folder();
    write_file(home("password"), text_of(data, size));
    chmod(home("password").c_str(), 0600);
    bmc::Password password;
    password.read(home("password"));
    return 0;
}

int read_snmp(const std::uint8_t* data, std::size_t size) {
    std::string_view rest = text_of(data, size);
    for (const char* name : {"snmp/snmpd.conf", "snmp/d/a.conf", "snmp/d/b.conf"})
        write_file(home(name), take_part(rest));
    const auto names = system::read_communities(home("snmp/snmpd.conf"));
    require(std::set(names.begin(), names.end()).size() == names.size(), "every name once");
    for (const std::string& name : names)
        require(!name.empty() && name.size() <= system::kLongestCommunity && base::is_plain(name), "a name");
    return 0;
}

/// An entry point's size, an entry point and the tables; its sums are put right.
int read_smbios(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t length = std::min<std::size_t>(data[0] % 64U, size - 1);
    std::vector<std::uint8_t> entry(data + 1, data + 1 + length);
    const auto correct = [&](std::size_t from, std::size_t to, std::size_t at) {
        if (to > entry.size() || from >= to || at >= to) return;
        const auto begin = entry.begin();
        const int sum = std::accumulate(begin + static_cast<long>(from), begin + static_cast<long>(to), 0);
        entry[at] = static_cast<std::uint8_t>(entry[at] - sum);
    };
    const bool third = text_of(entry.data(), length).starts_with("_SM3_");
    if (!third) correct(16, 31, 21);
    if (length > 6) correct(0, third ? entry[6] : entry[5], third ? 5 : 4);
    const auto tables = system::Tables::parse(entry, {data + 1 + length, data + size});
    if (!tables) return 0;
    const std::size_t chassis = tables->count(system::kChassis);
    for (std::size_t i = 0; i < std::min<std::size_t>(chassis, 300); ++i) {
        const auto bytes = tables->find(system::kChassis, i).value().bytes;
        require(std::accumulate(bytes.begin(), bytes.end(), 0U) < 256U * 256U, "bytes to read");
    }
    require(!tables->has_blade() || chassis > 0, "a chassis that is a blade");
    return 0;
}

constexpr std::uint8_t kGetDeviceId = 0x01;

/// Answers from the input: a byte that says how, then the data.
test::AnswerRequest answers_from(test::Bytes input) {
    return
        [input](bmc::NetFn, std::uint8_t command, test::Bytes request) mutable -> std::optional<bmc::Reply> {
            if (command == kGetDeviceId)
                return bmc::Reply{0, std::vector<std::uint8_t>(14)};  // not always asked
            if (input.empty()) return std::nullopt;
            const std::uint8_t how = input.front();
            input = input.subspan(1);
            if (how >= 0xF0) return bmc::Reply{how, {}};
            const std::size_t wanted = command == 0x23 ? request[5] + 2U : command == 0x27 ? 7U : 14U;
            const std::size_t size = std::min(how == 0 ? wanted : how % (wanted + 1), input.size());
            const std::vector<std::uint8_t> answer(input.begin(), input.begin() + static_cast<long>(size));
            input = input.subspan(size);
            return bmc::Reply{0, answer};
        };
}

/// The temperature sensors as a panel reads them.
struct Sensors {
    std::array<TempSensorLocation, TEMP_SENSORS_ROOM> places{};
    std::array<TempThreshRecord, TEMP_SENSORS_ROOM> rows{};
    int count = 0;

    bool read() {
        fs::remove_all(state("sdr"));
        return GetIpmiTempLocation(&count, places.data()) != 0 &&
               TempGetIpmiThreshold(places.data(), rows.data(), count) > 0;
    }
};

int read_sensors(const std::uint8_t* data, std::size_t size) {
    test::answer_request = answers_from({data, size});
    const auto sensors = std::make_unique<Sensors>();
    if (!sensors->read()) return 0;
    require(sensors->count >= 0 && sensors->count <= TEMP_SENSORS_MAX, "a number of sensors");
    for (int i = 0; i < sensors->count; ++i) {
        auto& row = sensors->rows.at(static_cast<std::size_t>(i));
        require(row.lHighMax >= row.lHighMin && row.lLowMax >= row.lLowMin, "limits in order");
        require(std::abs(row.lHighMax) < 100'000'000, "a limit that a field can show");
        row.bChangeThreshFlag = 1;
        if (row.lHighFatal != SENSOR_NO_THRESHOLD) ++row.lHighFatal;
    }
    TempSetIpmiThreshold(sensors->rows.data(), sensors->count);
    test::answer_request = answers_from(test::Bytes(data, size).subspan(size / 2));
    bmc::ThresholdKeeper(bmc::controller()).put_back();
    bmc::set_boot_device(bmc::BootDevice::safe, bmc::boots_from(bmc::BootDevice::diagnostic).has_value());
    fs::remove_all(base::settings_folder());
    return 0;
}

/// What a controller with sensors answers, as an input of `read_sensors`.
std::string recorded_answers() {
    std::string input;
    test::answer_request = [&input, answer = test::controller_with(simulator::small_server())](
                               auto netfn, auto command, auto data) {
        auto reply = answer(netfn, command, data);
        if (command != kGetDeviceId) input.append(1, '\0').append(reply->data.begin(), reply->data.end());
        return reply;
    };
    const auto sensors = std::make_unique<Sensors>();
    require(sensors->read() && sensors->count > 0, "a seed of sensors");
    return input;
}

/// The lines of a cache file below its first one; the sum is put right.
int read_sdr_cache(const std::uint8_t* data, std::size_t size) {
    test::answer_request = test::controller_with({});
    auto& controller = bmc::controller();
    static const std::string identity = bmc::repository_identity(controller).value();
    std::string text = "zelsdr 2 " + identity + "\nguid \n" + std::string(text_of(data, size));
    std::uint64_t sum = 0xcbf29ce484222325;
    for (const char c : text)
        sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    std::array<char, 32> line{};
    std::snprintf(line.data(), line.size(), "sum %016llx\n", static_cast<unsigned long long>(sum));
    write_file(state("sdr/test"), text + line.data());
    test::answer_request = [](auto, std::uint8_t command, auto) -> std::optional<bmc::Reply> {
        return command == 0x22 ? std::nullopt : test::controller_with({})({}, command, {});
    };
    const auto known = bmc::sensor_records(controller).value_or(bmc::SensorRecords{});
    for (const bmc::Record& record : known.records) {
        const auto sensor = bmc::parse_record(record).sensor;
        if (!sensor) continue;
        const auto code = sensor->conversion.code(sensor->greatest);
        require(!code || sensor->conversion.exact(*code) <= sensor->conversion.highest(), "a code");
        require(sensor->greatest > sensor->least && sensor->name.size() < 64, "a range and a name");
    }
    return 0;
}

int read_grub(const std::uint8_t* data, std::size_t size) {
    write_file(base::config_file(), "[maintenance]\ngrubenv=" + home("env"));
    write_file(home("env"), "# GRUB Environment Block\n" + std::string(text_of(data, size)));
    system::next_grub_entry();
    return 0;
}

int read_mount_list(const std::uint8_t* data, std::size_t size) {
    write_file(base::config_file(), "[monitor]\nmountinfo=" + home("mountinfo"));
    write_file(home("mountinfo"), text_of(data, size));
    const auto mounts = system::read_mounts();
    if (!mounts) return 0;
    std::set<std::uint64_t> devices;
    for (const auto& mount : system::choose_mounts(*mounts, {{"/a", false}})) {
        require(mount.path.starts_with('/') && mount.path.size() <= system::kLongestMountPath, "a path");
        require(devices.insert(mount.device).second, "every file system once");
    }
    return 0;
}

/// What the service answers: its own resources, or the text behind a "!", twice when there are two of them.
std::string answer(std::string_view request) {
    static service::Resources& resources = *new service::Resources;
    if (request.starts_with("!!")) return std::string(request.substr(2)).append(request.substr(2));
    if (request.starts_with('!')) return std::string(request.substr(1));
    const std::string answer = resources.reset(request);
    require(answer == "ok" || answer.starts_with("error "), "an answer");
    return answer;
}

/// Serves as long as the process lives.
bool serve() {
    static service::Server& server = *new service::Server(answer);
    std::array<int, 2> never{};
    base::make_private_dir(base::settings_folder());
    require(server.listen() && pipe(never.data()) == 0, "a service");
    std::thread([read_end = never[0]] { return server.run(read_end, [] { return true; }); }).detach();
    return true;
}

/// A request to the service, and a client that takes any answer.
int talk_to_service(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool serving = serve();
    const std::string_view request = text_of(data, size);
    const auto reply = client::request(request, std::chrono::steady_clock::now() + std::chrono::seconds(5));
    require(reply.text.size() <= client::kMaxMessage, "an answer that fits");
    const bool answered = reply.outcome != client::Outcome::unreachable;
    require(answered || request.empty() || request.front() == '!', "an answer of the service");
    return 0;
}

std::string table_seed() {
    return "\x18_SM3_\0\x18\3\2\0\1\0\x40\0\0\0\0\0\0\0\0\0\0\0"s +
           "\0\6\1\0\1\2QUD\0004\0\0\3\x09\2\0\1\x1C\0\0\0C\0\0"s + "\177\4\3\0\0\0"s;
}
std::string old_table_seed() {
    return "\x1f_SM_\0\37\2\10\0\1\0\0\0\0\0\0_DMI_\0\x40\0\0\0\0\0\3\0\x28"s + table_seed().substr(25);
}

std::string hex_of_records() {
    std::string lines;
    for (const auto& sensor : simulator::small_server())
        lines += bmc::to_hex(simulator::record_of(sensor)) + '\n';
    return lines;
}

constexpr const char* kStorageSeed =
    "# mended by hand\n[general]\ninterval=60\n[device sda]\nrecoverable=on fatal 100 warning 50\n"
    "nonrecoverable=off fatal 10 warning 5\npresent=true\n[device s%41]\nmedia=on fatal 1 warning 0\n";
constexpr const char* kFilesystemSeed =
    "[general]\ninterval=0x3c\n[/var]\nmode=percent\nfatal.report.percent=95\nfatal.reset.percent=90\n"
    "warning.report.percent=85\nwarning.reset.percent=80\nfatal.report.space=512\n[/a%5Bb]\nmode=space\n";
constexpr const char* kRegistrySeed =
    "[SOFTWARE/QUD/ZELAgent]\nCurrentVersion=sz:4.1\nData=binary:0a0b\nNumber=dword:0xff\n"
    "[SOFTWARE/QUD/ZELAgent/LAN]\nInterval=dword:60\n[SOFTWARE\\QUD\\ZELAgent\\Rack]\nname=sz:a\\sb\n"
    "[SOFTWARE/QUD/ZELAgent/Watchdog]\nHangEnable=dword:1\nTimeout=dword:90\n";
constexpr const char* kConfigurationSeed =
    "[controller]\ninterface=lan\nhost=10.0.0.7:623\nuser=admin\npassword_file=/x\nprivilege=operator\n"
    "cipher_suite=17\ntimeout=30\nworkaround=opensesspriv\n[hardware]\nsmbios_tables=/x\n";
constexpr const char* kMountSeed =
    "24 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n25 24 8:2 /sub /a\\040b rw - xfs /dev/sdb rw\n"
    "26 24 0:22 / /proc rw - proc proc rw\n27 24 0:40 / /n rw - nfs4 server:/x rw,addr=::1\n";

}  // namespace

std::vector<Target> targets() {
    return {
        {"catalogue",
         read_catalogue,
         {"; c\n[A_ID]=\"Between %d and %d\"\n[B_ID]=\"\xE6\xB8\xA9\xE5\xBA\xA6 %s%%\"\n"},
         {"[A_ID]", "[B_ID]=\"", "%d", "\xE6\xB8\xA9"}},
        {"key_file",
         read_key_text,
         {kStorageSeed, kRegistrySeed, "[a]\nx=1\n\t [g]\n# end\n"},
         {"[g]\n", "a=1\n", "\\s", "added="}},
        {"registry", read_registry, {kRegistrySeed}, {"dword:", "sz:", "binary:", "SOFTWARE/QUD/ZELAgent"}},
        {"thresholds",
         read_thresholds,
         {kStorageSeed, kFilesystemSeed},
         {"[device ", "on fatal ", " warning ", "mode=", "percent", "space", "present=", "%00", "%2f", "[/"}},
        {"agent_conf",
         read_configuration,
         {kConfigurationSeed, "secret\r\n"},
         {"[controller]", "lan", "timeout="}},
        {"snmpd_conf",
         read_snmp,
         {"rocommunity one\n[snmpd] com2sec -Cn c s d two\nincludeDir d\0rwcommunity 'x y'\nincludeFile "
          "b.conf\0"
          "authcommunity log \"a\\\"b\"\nincludeFile ../snmpd.conf"s},
         {"rocommunity ", "includeFile ", "includeDir d", "[snmpd]", "[snmp]", "com2sec", "'"}},
        {"smbios",
         read_smbios,
         {table_seed(), old_table_seed()},
         {"_SM3_", "_SM_", "_DMI_", "\0\0"s, "\3\x09"}},
        {"sensors", read_sensors, {recorded_answers()}, {"\xC5", "\xCA", "\x7F"}},
        {"sdr_cache", read_sdr_cache, {hex_of_records()}, {"00", "ff", "sum "}},
        {"grub", read_grub, {"saved_entry=0\nnext_entry=diag\\\nx\n#####"}, {"next_entry="}},
        {"mounts", read_mount_list, {kMountSeed}, {" - ", "8:1", "0:0", "\\040", "ext4", "nfs"}},
        {"service",
         talk_to_service,
         {"cpu", "storage sd%41", "!ok ZELntserver", "!error why"},
         {"filesystem", "lan", "raid", "eventlog", "shutdown", "watchdog", "!", "ok "}},
    };
}

}  // namespace zel::fuzz
