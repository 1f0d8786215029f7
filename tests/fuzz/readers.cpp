// SPDX-License-Identifier: GPL-3.0-or-later
// Readers of what comes from outside, and what must hold whatever they read. ZEL_READER names the one that a
// process feeds: libFuzzer does in builds of its own (scripts/fuzz), replay.cpp in all others.
#include <agntconf/columns.h>
#include <agntconf/readstrfile.h>

#include <array>
#include <map>
#include <numeric>
#include <set>
#include <span>
#include <thread>

#include "answered_controller.h"
#include "base/plain_text.h"
#include "bmc/password.h"
#include "bmc/sdr_cache.h"
#include "bmc/sdr_record.h"
#include "bmc/sensors_reapply.h"
#include "bmc/settings.h"
#include "client/service_client.h"
#include "home.h"
#include "hooks/log_follower.h"
#include "service/resources.h"
#include "service/server.h"
#include "settings/filesystem_settings.h"
#include "store/key_file.h"
#include "store/registry.h"
#include "system/mounts.h"
#include "system/smbios_tables.h"
#include "watching.h"
#include "zel/access_control.h"
#include "zel/access_ipmi.h"
#include "zel/access_monitor.h"

namespace zel::service {
void log(const std::string& /*line*/) {}  // the service's own would fill the terminal
}  // namespace zel::service
namespace zel::hooks {
void say(const std::string& /*line*/) {}
}  // namespace zel::hooks

namespace zel::test {
namespace {

using namespace std::string_literals;

void read_catalogue(Input input) {
    if (input.empty() || input.front() == '\0') return;  // without a catalogue a window opens
    prepare_locale();
    std::string buffer(input);
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
}

void read_key_file(Input input) {
    store::KeyFile file;
    if (!file.parse(input)) return;
    const auto groups = file.groups();
    const std::string before = file.serialise();
    store::KeyFile again;
    require(again.parse(before) && again.serialise() == before && again.groups() == groups, "equal content");
    for (const std::string& group : groups) {
        for (const std::string& key : file.keys(group)) {
            const auto value = file.get(group, key);
            require(again.get(group, key) == value, "the same value");
            if (value && file.set(group, key, *value))
                require(file.get(group, key) == value, "an equal value");
        }
        if (!file.set(group, "added", " b\\\n")) continue;
        require(again.parse(file.serialise()), "a text that parses after a change");
        require(again.get(group, "added") == " b\\\n" && again.groups() == groups, "what was set");
    }
}

/// Settings as they are read can be written.
void read_registry(Input input) {
    put("state/registry.conf", input);
    LanSettingsRecord lan{};
    require(GetLanDataFromRegistry(&lan) == 1 || PutLanThreshold(&lan) != 0, "LAN settings");
    ShutdownRecord shutdown{};
    require(GetAllofShutDown(&shutdown) == 0 || SetAllofShutDown(&shutdown) == 0, "shutdown settings");
    WdtRecord watchdog{};
    require(GetAllofWDT(&watchdog) == 0 || SetAllofWDT(&watchdog) == 0, "watchdog settings");
    CpuThresholdRow row{};
    require(GetCpuThreshold(0, &row) == 0 || PutCpuThreshold(0, &row) != 0, "a CPU row");
    CpuSettingsRecord cpu{};
    const bool got_cpu = GetCpuDataFromRegistry(&cpu) != 1;
    const CpuCycleRecord cycle{cpu.samplingInterval, cpu.cycleSeconds};
    require(!got_cpu || PutCycletoReg(&cycle) != 0, "a CPU cycle");
    std::array<char, RACK_NAME_SIZE> name{};
    require(GetCurrentRackId(name.data()) == 1 || ApplyRackmount(name.data()) != 1, "a rack name");
    for (const char* value : {"CurrentVersion", "Data", "Number"})
        store::registry::get("SOFTWARE/QUD/ZELAgent", value);
}

/// Reads all threshold files and writes what it has read; what stands in them then.
std::string rewrite_thresholds() {
    static StorageNames names;
    static StorageValues values;
    int interval = 0;
    int count = 0;
    if (ReadThresholdFromFile(&interval, &count, names, values) != 0)
        require(WriteThreshold(interval, count, names, values) != STORAGE_WRITE_FAILED,
                "storage to be written");
    // Without the calls around these: they start a process each time, which asks what is mounted for its size.
    settings::FilesystemSettings filesystems;
    settings::read_filesystems(filesystems, [](const system::SavedPaths& saved) {
        settings::FsSizes sizes;
        for (const auto& [path, watched] : saved)
            sizes.emplace(path, 1000);
        return sizes;
    });
    for (const auto& [path, one] : filesystems.filesystems)
        require(settings::judge(one, std::nullopt) == 0, "valid file systems");
    require(settings::save_filesystems(filesystems, std::nullopt, std::nullopt),
            "file systems to be written");
    MylexThresholdBlock raid{};
    if (Mylex_ReadThresholdFromFile(&raid) != MYLEX_READ_FAILED)
        require(ResetMylexService(raid.interval) >= MYLEX_NO_SERVICE, "a valid interval");
    return read_text(state("storage.conf")) + read_text(state("filesystem.conf"));
}

void read_thresholds(Input input) {
    for (const char* name : {"storage.conf", "filesystem.conf", "zelmlx.inf"})
        put("state/"s + name, input);
    const std::string written = rewrite_thresholds();
    require(rewrite_thresholds() == written, "the same settings again");
}

/// What is mounted can be kept under its name.
void read_mounts(Input input) {
    put("mountinfo", input);
    std::set<std::uint64_t> devices;
    settings::FilesystemSettings held;
    const auto mounts = system::read_mounts().value_or(std::vector<system::Mount>());
    for (const auto& mount : system::choose_mounts(mounts, {{"/n", false}})) {
        require(mount.path.starts_with('/') && mount.path.size() <= system::kLongestMountPath, "a path");
        require(devices.insert(mount.device).second, "every file system once");
        held.filesystems[mount.path].mode = FS_MODE_PERCENT;  // what is not watched is not kept
    }
    require(settings::save_filesystems(held, std::nullopt, std::nullopt), "file systems to be written");
    settings::FilesystemSettings kept;
    settings::read_filesystems(kept, [](const auto&) { return settings::FsSizes(); });
    for (const auto& [path, one] : held.filesystems)
        require(kept.filesystems.erase(path) == 1, "the same names");
}

void read_agent_conf(Input input) {
    put("agent.conf", input);
    if (const auto settings = bmc::read_settings()) {
        require(settings->timeout.count() >= 1000 && settings->cipher_suite <= 17, "sane settings");
        require(settings->interface != bmc::Interface::lan || settings->user.size() <= 16, "a user");
    }
    HwIdRecord record{};
    GetQudHwidFor38(&record);
    require(std::abs(call_zel_is_ft()) <= 1, "a kind of server");
    put("password", input);
    fs::permissions(home("password"), fs::perms(0600));
    bmc::Password().read(home("password"));
}

/// Three files, divided by zero bytes.
void read_snmpd_conf(Input input) {
    for (const char* name : {"snmpd.conf", "d/a.conf", "d/b.conf"}) {
        const Input part = input.substr(0, input.find('\0'));
        put(name, part);
        input.remove_prefix(std::min(part.size() + 1, input.size()));
    }
    auto* head = static_cast<CommunityNode*>(std::calloc(1, sizeof(CommunityNode)));
    const int count = GetCommunityNamefromConf(head);
    std::set<std::string> names;
    for (CommunityNode* one = head; count > 0 && one != nullptr; one = one->next) {
        require(names.insert(one->name).second && one->name[0] != '\0', "a name, and once");
        if (one->index > 2) continue;
        int selected = -1;
        require(SetCommunityNametoReg(one->name) != 1, "a name that can be kept");
        require(TestCurrentSameasBefore(one->name, head, &selected) == 0 && selected == one->index, "found");
    }
    require(static_cast<int>(names.size()) == count, "so many names");
    FreeCommnityStruct(&head);
}

void read_grubenv(Input input) {
    put("state/registry.conf", "[SOFTWARE/QUD/ZELAgent/Maintenance]\nTarget=sz:grub:diag\n");
    put("grubenv", "# GRUB Environment Block\n" + std::string(input));
    int mode = -1;
    require(GetUtlBootMode(&mode) == 0 || mode == MOVAL_MODE_ON || mode == MOVAL_MODE_OFF, "a mode");
}

/// An entry point, in 31 bytes, and the tables; its sums are put right.
void read_smbios(Input input) {
    const Input first = input.substr(0, 31);
    std::vector<std::uint8_t> entry(first.begin(), first.end());
    const auto correct = [&](std::size_t from, std::size_t to, std::size_t at) {
        if (to > entry.size() || from >= to || at >= to) return;
        const auto sum = std::accumulate(&entry[from], entry.data() + to, 0);
        entry[at] = static_cast<std::uint8_t>(entry[at] - sum);
    };
    const bool third = first.starts_with("_SM3_");
    if (!third) correct(16, 31, 21);
    if (entry.size() > 6) correct(0, entry[third ? 6 : 5], third ? 5 : 4);
    const auto tables = system::Tables::parse(entry, {input.begin() + first.size(), input.end()});
    if (!tables) return;
    require(!tables->has_blade() || tables->count(system::kChassis) > 0, "a chassis that is a blade");
    for (std::size_t i = 0; const auto chassis = tables->find(system::kChassis, i); ++i) {
        require(std::accumulate(chassis->bytes.begin(), chassis->bytes.end(), 0U) < 65536, "bytes to read");
    }
}

/// Answers of a controller, spoilt: for each one a byte of the input says by how many of those behind it the
/// answer is replaced; 0 leaves it as it is, F0h and more is a completion code or silence.
AnswerRequest spoilt(Input input) {
    return [input, answer = controller_with(simulator::small_server())](
               auto netfn, auto command, auto data) mutable -> std::optional<bmc::Reply> {
        const std::uint8_t how = input.empty() ? 0 : static_cast<std::uint8_t>(input.front());
        const Input bytes = input.substr(std::min<std::size_t>(1, input.size()), how < 0xF0 ? how : 0);
        input.remove_prefix(std::min(bytes.size() + 1, input.size()));
        if (how == 0xFF) return std::nullopt;
        if (how >= 0xF0) return bmc::Reply{how, {}};
        auto reply = answer(netfn, command, data);  // which it has to hear of in any case
        return how == 0 ? reply : bmc::Reply{0, {bytes.begin(), bytes.end()}};
    };
}

void read_sensors(Input input) {
    put("state/registry.conf", "[SOFTWARE/QUD/ZELAgent/Maintenance]\nTarget=sz:ipmi:safe\n");
    answer_request = spoilt(input);
    static std::array<TempSensorLocation, TEMP_SENSORS_ROOM> places;
    static std::array<TempThreshRecord, TEMP_SENSORS_ROOM> rows;
    int count = 0;
    if (GetIpmiTempLocation(&count, places.data()) == 0) return;
    require(count >= 0 && count <= TEMP_SENSORS_MAX, "a number of sensors");
    if (TempGetIpmiThreshold(places.data(), rows.data(), count) == 0) return;
    for (auto& row : std::span(rows).first(static_cast<std::size_t>(count))) {
        require(row.lHighMax >= row.lHighMin && row.lLowMax >= row.lLowMin, "limits in order");
        require(std::abs(row.lHighMax) < 100'000'000, "a limit that a field can show");
        row.bChangeThreshFlag = 1;
        if (row.lHighFatal != SENSOR_NO_THRESHOLD) ++row.lHighFatal;
    }
    TempSetIpmiThreshold(rows.data(), count);
    answer_request = spoilt(input.substr(input.size() / 2));
    bmc::ThresholdKeeper(bmc::controller()).put_back();
    MOVALSetMode(MOVAL_MODE_ON, 1);
    MOVALSetMode(MOVAL_MODE_OFF, 0);
}

/// The lines of a cache file below its first one; the sum is put right.
void read_sdr_cache(Input input) {
    answer_request = controller_with(simulator::small_server());
    auto& controller = bmc::controller();
    static const std::string identity = bmc::repository_identity(controller).value();
    const std::string text = "zelsdr 2 " + identity + '\n' + std::string(input);
    std::uint64_t sum = 0xcbf29ce484222325;
    for (const char c : text)
        sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    std::array<char, 32> line{};
    std::snprintf(line.data(), line.size(), "sum %016llx\n", static_cast<unsigned long long>(sum));
    put("state/sdr/test", text + line.data());
    const auto known = bmc::sensor_records(controller);
    require(known.has_value(), "records, the controller's when the file has none");
    for (const bmc::Record& record : known->records) {
        const auto sensor = bmc::parse_record(record).sensor;
        if (!sensor) continue;
        const auto code = sensor->conversion.code(sensor->greatest);
        require(!code || sensor->conversion.exact(*code) <= sensor->conversion.highest(), "a code");
        require(sensor->greatest > sensor->least && sensor->name.size() < 64, "a range and a name");
    }
}

/// What the service answers: its own resources, or the text behind a "!", twice when there are two of them.
std::string answer(Input request) {
    static service::Resources& resources = *new service::Resources;
    if (request.starts_with("!!")) return std::string(request.substr(2)).append(request.substr(2));
    if (request.starts_with('!')) return std::string(request.substr(1));
    const std::string answer = resources.reload(request);
    require(answer == "ok" || answer.starts_with("error "), "an answer");
    return answer;
}

/// A request to the service, and a client that takes any answer.
void talk_to_service(Input request) {
    static service::Server& server = *new service::Server(answer);
    [[maybe_unused]] static const bool serving = [] {
        require(base::make_private_dir(base::settings_folder()) && server.listen(), "a service");
        std::thread([] { return server.run(-1, [] { return true; }); }).detach();
        return true;
    }();
    const auto reply = client::request(request, std::chrono::steady_clock::now() + std::chrono::seconds(5));
    require(reply.text.size() <= client::kMaxMessage, "an answer that fits");
    require(!reply.text.empty() || request.empty() || request.front() == '!', "an answer of the service");
}

/// The log of events, of which the hooks get the same wherever its writer is when they look.
void read_event_log(Input input) {
    Strings lines;
    const auto take = [&](const hooks::EventLine& event, bool /*begins*/) {
        for (const std::string& variable : event.variables)
            require(base::is_plain(variable) && variable.size() < 5000, "variables of one line");
        require(event.seq > 0 && input.find(event.line) != Input::npos, "an event of the log");
        lines.push_back(event.line);
        return true;
    };
    hooks::LogFollower follower;
    for (const std::size_t size : {input.size() / 3, input.size() / 2, input.size()}) {
        put("state/events.jsonl", input.substr(0, size));
        follower.read(take);
    }
    const Strings in_parts = std::exchange(lines, {});
    hooks::LogFollower().read(take);
    require(lines == in_parts, "the same events");
}

void (*chosen_reader())(Input) {
    put("agent.conf", "[monitor]\nsys_block=" + home("sys") + "\nmountinfo=" + home("mountinfo") +
                          "\nsys_net=" + home("net") + "\n[maintenance]\ngrubenv=" + home("grubenv") +
                          "\n[snmp]\nconf=" + home("snmpd.conf") + '\n');
    put("mountinfo", "1 1 8:1 / / rw - ext4 x rw\n2 1 8:2 / /var rw - ext4 x rw\n");
    put("sys/sda/size", "8\n");
    put("sys/sA/size", "8\n");
    return std::map<Input, void (*)(Input)>{{"agent_conf", read_agent_conf}, {"catalogue", read_catalogue},
                                            {"event_log", read_event_log},   {"grubenv", read_grubenv},
                                            {"key_file", read_key_file},     {"mounts", read_mounts},
                                            {"registry", read_registry},     {"sdr_cache", read_sdr_cache},
                                            {"sensors", read_sensors},       {"service", talk_to_service},
                                            {"proc_stat", read_proc_stat},   {"counters", read_counters},
                                            {"events", read_events},         {"state", read_state},
                                            {"document", read_document},     {"logs", read_logs},
                                            {"smbios", read_smbios},         {"snmpd_conf", read_snmpd_conf},
                                            {"thresholds", read_thresholds}}
        .at(std::getenv("ZEL_READER"));
}

}  // namespace
}  // namespace zel::test

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto read = zel::test::chosen_reader();
    if (read != zel::test::talk_to_service) std::filesystem::remove_all(zel::base::settings_folder());
    read({reinterpret_cast<const char*>(data), size});
    return 0;
}
