// SPDX-License-Identifier: GPL-3.0-or-later
// The agent's calls on a machine made up of files, a case a file of cases/. Steps beside those of support/steps.h:
//
//   folder NAME              in the agent's directory
//   pipe NAME                stands for a device, which would act by being opened
//   unopened                 nobody opened any of them
//   disk NAME FIELD=TEXT ... a disk of the machine: below (the folder of its device), size, wwid, hidden
//   disks COUNT              so many, many1 and so on
//   mounts                   the indented lines: ID PARENT'S-ID MAJOR:MINOR FOLDER PATH TYPE
//   filesystems, listed      interval, then path, mode, a percentage and spaces of each; their paths; or "failed"
//   save SECONDS PATH=MODE ...  file systems with valid thresholds, in percent (3), space (4) or off (2)
//   storage                  interval; then name, fatal/warning and state of each kind of error of each device
//   set INTERVAL COUNT       the caller's table, as storage read it
//   set ROW KIND FATAL WARNING STATE
//   store, default ROW       saves that table; a row as by default
//   other FILE [GROUP] KEY=VALUE  another process writes one value into a file of the settings
//   both WHAT | FILE [GROUP] KEY=VALUE | VALUES  what is kept once they were read, then the other process and at
//                            last these were written; "-" for none; VALUES | VALUES: the first before the other
//   communities              the names that the SNMP daemon takes
//   shutdown, watchdog NUMBER ...  saves such a record
//   hang, cpus               both records; how many CPUs
//   judge NUMBER ...         what TestInputCpuParameter finds in a row of a CPU
//   actions                  the codes of actions, each made again of what it stands for
//   boot MODE                the maintenance boot mode, as MOVALSetMode takes it
//   mode                     what GetUtlBootMode says
//   loads PERCENT ...        so busy are the CPUs, second after second
//   told TEXT                how often an event began so, once one did: resource, object, level, value
//   killed                   the service is, and started again
//   ask REQUEST              the service's answer
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>
#include <bit>
#include <csignal>
#include <thread>

#include "client/service_client.h"
#include "made_up_machine.h"
#include "steps.h"
#include "store/key_file.h"
#include "tell/event.h"
#include "zel/access_control.h"
#include "zel/tracelog.h"

namespace {

using namespace zel::test;
using Text = const std::string&;
using Numbers = std::vector<std::int64_t>;

std::string outcome(bool done) {
    return done ? "ok" : "failed";
}

Numbers numbers(Text text) {
    std::istringstream each(text);
    Numbers all;
    for (std::string word; each >> word;)
        all.push_back(std::stol(word, nullptr, 0));
    return all;
}

void add_line(std::string& lines, Text line) {
    lines += (lines.empty() ? "" : "\n") + line;
}

/// How often it was told, once it was: resource, object, level and value.
std::string told(Text text) {
    std::ptrdiff_t times = 0;
    for (int tries = 0; tries < 200 && times == 0; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::istringstream log(read_text(state("events.jsonl")));
        std::uint64_t seq = 0;
        for (std::string line; std::getline(log, line);) {
            const auto event = zel::tell::from_line(line);
            if (!event && log.eof()) break;  // half of it is there
            EXPECT_TRUE(event && event->seq == ++seq) << line;
            if (!event) continue;
            const std::string one = event->resource + ' ' + event->object + ' ' + level_name(event->to) +
                                    (event->value ? ' ' + std::to_string(*event->value) : "");
            times += one.starts_with(text) ? 1 : 0;
        }
    }
    return std::to_string(times);
}

std::string communities() {
    auto* head = static_cast<CommunityNode*>(calloc(1, sizeof(CommunityNode)));
    int left = GetCommunityNamefromConf(head);
    std::string names = left == 0 ? "none" : "";
    for (const auto* node = head; node && left > 0; node = node->next, --left)
        add_line(names, node->name);
    EXPECT_EQ(left, 0);
    EXPECT_EQ(FreeCommnityStruct(&head), 1);
    return names;
}

std::string filesystems() {
    auto* head = static_cast<FsThresholdRecord*>(calloc(1, sizeof(FsThresholdRecord)));
    int cycle = -1;
    if (File_ReadThresholdFromFile(head, &cycle) != 1) return "failed";
    std::string text = std::to_string(cycle) + " s";
    for (const auto* r = head; r != nullptr; r = r->next)
        add_line(text, std::string(r->path) + ' ' + "??o%s"[r->mode] + ' ' +
                           std::to_string(r->fatalReportPercent) + ' ' + std::to_string(r->fatalReportSpace) +
                           ' ' + std::to_string(r->warningResetSpace));
    EXPECT_EQ(FreeMemofStruct(&head), 1);
    return text;
}

std::string save_filesystems(Text what) {
    std::istringstream each(what);
    int cycle = 0;
    each >> cycle;
    std::vector<FsThresholdRecord> records;
    for (std::string word; each >> word;) {
        const auto [path, mode] = split_at(word, "=");
        records.push_back(record(path, std::stoi(mode)));
    }
    return outcome(save(records, cycle) != FS_WRITE_FAILED);
}

/// How calls read and write settings, a record of numbers or a text.
struct Kept {
    std::function<std::string()> read;
    std::function<bool(Text)> write;
};

template <class Record>
Kept kept(int (*read)(Record*), int (*write)(const Record*), int failed) {
    using Words = std::array<std::int32_t, sizeof(Record) / sizeof(std::int32_t)>;
    return {[=] {
                Record record{};
                read(&record);
                std::string text;
                for (const std::int32_t word : std::bit_cast<Words>(record))
                    text += (text.empty() ? "" : " ") + std::to_string(word);
                return text;
            },
            [=](Text what) {
                Words words{};
                std::ranges::transform(numbers(what), words.begin(), [](auto n) { return std::int32_t(n); });
                const auto record = std::bit_cast<Record>(words);
                return write(&record) != failed;
            }};
}

Kept kept(int (*read)(char*), int (*write)(const char*)) {
    return {[=] {
                std::array<char, RACK_NAME_SIZE> text{};
                read(text.data());
                return std::string(text.data());
            },
            [=](Text what) { return write(what.c_str()) != 1; }};
}

int read_cycle(CpuCycleRecord* cycle) {
    CpuSettingsRecord all{};
    const int result = GetCpuDataFromRegistry(&all);
    *cycle = {all.samplingInterval, all.cycleSeconds};
    return result;
}

const std::map<std::string, Kept> kKept = {
    {"cpu", kept<CpuThresholdRow>([](auto* row) { return GetCpuThreshold(0, row); },
                                  [](auto* row) { return PutCpuThreshold(0, row); }, 0)},
    {"cycle", kept(read_cycle, PutCycletoReg, 0)},
    {"lan", kept(GetLanDataFromRegistry, PutLanThreshold, 0)},
    {"snmp", kept(GetSnmpFlagsfromReg, SetSnmpFlagstoReg, 1)},
    {"raid", kept<MylexThresholdBlock>([](auto* block) { return Mylex_ReadThresholdFromFile(block); },
                                       [](auto* block) { return ResetMylexService(block->lib[0]); },
                                       MYLEX_WRITE_FAILED)},
    {"rack", kept(GetCurrentRackId, ApplyRackmount)},
    {"community", kept(GetCommunityNamefromReg, SetCommunityNametoReg)},
};

void write_as_another(Text what) {
    const auto line = split_at(what, " [");
    const auto group = split_at(line.second, "] "), entry = split_at(group.second, "=");
    const auto set = [&](auto& file) { return file.set(group.first, entry.first, entry.second); };
    const auto write = [&] { return static_cast<int>(zel::store::update_key_file(state(line.first), set)); };
    EXPECT_EQ(finish_process(start_process(write)), 0);
}

std::string both(Text what) {
    const auto [name, rest] = split_at(what, " | ");
    const auto [theirs, mine] = split_at(rest, " | ");
    const auto [first, last] = split_at(mine, " | ");
    const Kept& settings = kKept.at(name);
    settings.read();
    bool done = last.empty() || settings.write(first);
    if (theirs != "-") write_as_another(theirs);
    done = settings.write(last.empty() ? first : last) && done;
    return done ? settings.read() : "failed";
}

std::string hang() {
    ShutdownRecord down{};
    WdtRecord dog{};
    EXPECT_TRUE(GetAllofShutDown(&down) && GetAllofWDT(&dog));
    std::ostringstream text;
    text << down.dwHangEnable << ' ' << down.dwTimeout << ' ' << down.dwTimeoutAct << ", " << dog.qwHangEnable
         << ' ' << dog.qwInterval << ' ' << dog.qwTimeout << ' ' << dog.qwTimeoutAct << ' ' << dog.library;
    return text.str();
}

std::string set_shutdown(Text what) {
    const Numbers n = numbers(what);
    const auto word = [&](std::size_t i) { return static_cast<std::uint32_t>(n.at(i)); };
    ShutdownRecord down{word(0), word(1), word(2), {}};
    return outcome(SetAllofShutDown(&down) == 0);
}

std::string set_watchdog(Text what) {
    const Numbers n = numbers(what);
    const auto word = [&](std::size_t i) { return static_cast<std::uint64_t>(n.at(i)); };
    WdtRecord dog{word(0), word(1), word(2), word(3), 77};
    return outcome(SetAllofWDT(&dog) == 0);
}

std::string cpus() {
    CpuSettingsRecord settings{};
    EXPECT_EQ(GetCpuDataFromRegistry(&settings), 0);
    const int count = settings.cpuCount;
    CpuThresholdRow row{};
    EXPECT_EQ(GetCpuThreshold(count, &row) + GetCpuThreshold(count + 1, &row), 1);
    EXPECT_EQ(PutCpuThreshold(count, &row), 1);
    return std::to_string(count);
}

std::string judge(Text what) {
    CpuThresholdRow row{};
    std::ranges::copy(numbers(what), &row.enable);
    std::ostringstream faults;
    faults << std::hex << TestInputCpuParameter(&row);
    // The command line refuses what the panel refuses, and what cannot be saved.
    const bool valid = (row.enable == 0 || faults.str() == "0") && PutCpuThreshold(1, &row) != 0;
    write_text(home("row.json"), R"({"schema":1,"settings":{"cpu":{"1":{"enable":)" +
                                     std::string(row.enable ? "true" : "false") + R"(,"fatal":{"report":)" +
                                     std::to_string(row.fatalReport) + R"(,"reset":)" +
                                     std::to_string(row.fatalReset) + R"(},"warning":{"report":)" +
                                     std::to_string(row.warningReport) + R"(,"reset":)" +
                                     std::to_string(row.warningReset) + "}}}}}");
    fs::remove(state("registry.conf"));
    EXPECT_EQ(shell("zelctl check row.json 2>/dev/null"), valid ? "ok" : "(3)");
    return faults.str();
}

std::string actions() {
    std::string made;
    for (std::uint64_t code = 0; code < 256; ++code) {
        int when = -1, after = -1;
        if (GetTimeoutAct(&when, &after, code) == 0) continue;
        std::uint64_t again = ~std::uint64_t{0};
        EXPECT_NE(SetTimeoutAct(when, after, &again), 0);
        EXPECT_EQ(again, 0xFFFFFFFF00000000U | code);
        made += ' ' + std::to_string(code);
    }
    return made.substr(1);
}

/// A caller's tables of storage devices.
class Tables {
  public:
    std::string read() {
        EXPECT_EQ(ReadThresholdFromFile(&interval_, &count_, names_.get(), values_.get()), count_);
        std::string text = std::to_string(interval_) + " s";
        for (std::size_t row = 0; row < static_cast<std::size_t>(std::max(count_, 0)); ++row) {
            std::string line = names_[row];
            for (const auto& item : values_[row])
                line +=
                    ' ' + std::to_string(item.fatal) + '/' + std::to_string(item.warning) + "?+-"[item.state];
            add_line(text, line);
        }
        return text;
    }
    std::string set(Text what) {
        const Numbers n = numbers(what);
        const auto word = [&](std::size_t i) { return static_cast<int>(n.at(i)); };
        if (n.size() > 2)
            values_[static_cast<std::size_t>(n[0])][n[1]] = {word(2), word(3), word(4)};
        else
            interval_ = word(0), count_ = word(1);
        return "ok";
    }
    std::string store() {
        return outcome(WriteThreshold(interval_, count_, names_.get(), values_.get()) !=
                       STORAGE_WRITE_FAILED);
    }
    std::string set_default(Text row) {
        return outcome(SetDefaultStorageService(interval_, count_, names_.get(), values_.get(),
                                                std::stoi(row)) != STORAGE_WRITE_FAILED);
    }

  private:
    std::unique_ptr<char[][30]> names_{new char[STORAGE_DEVICES_MAX][30]{}};
    std::unique_ptr<StorageThresholdItem[][4]> values_{new StorageThresholdItem[STORAGE_DEVICES_MAX][4]{}};
    int interval_ = -1;
    int count_ = -1;
};

class AgentCases : public Steps {
  protected:
    AgentCases() {
        make_machine();
        EXPECT_EQ(TraceLogInit(0, "cases", 0, 5, 0), 0);
        struct statfs info {};
        EXPECT_EQ(statfs("/", &info), 0);
        const auto percent = ((info.f_blocks * static_cast<std::uint64_t>(info.f_bsize)) >> 20U) / 100;
        names_["$five"] = std::to_string(5 * percent);
        names_["$twenty"] = std::to_string(20 * percent);
        names_["$running"] = std::to_string(sysconf(_SC_NPROCESSORS_ONLN));
        steps_["pipe"] = [this](Text name, Text) {
            fs::remove(home(name));
            EXPECT_EQ(mkfifo(home(name).c_str(), 0600), 0);
            EXPECT_GE(inotify_add_watch(watch_.get(), home(name).c_str(), IN_OPEN), 0);
        };
        steps_["unopened"] = [this](Text, Text) {
            char event[512];
            EXPECT_EQ(::read(watch_.get(), event, sizeof event), -1);
        };
        steps_["folder"] = [](Text name, Text) { fs::create_directories(home(name)); };
        steps_["disk"] = [](Text what, Text) { add_disk(what); };
        steps_["other"] = [](Text what, Text) { write_as_another(what); };
        steps_["disks"] = [](Text count, Text) {
            for (int number = 1; number <= std::stoi(count); ++number)
                add_disk("many" + std::to_string(number));
        };
        steps_["mounts"] = [](Text, Text lines) { mount(lines); };
        steps_["loads"] = [this](Text percents, Text) {
            for (const std::int64_t percent : numbers(percents))
                add_load(percent);
        };
        steps_["killed"] = [this](Text, Text) {
            service_->finish(SIGKILL);
            service_.reset();
            ASSERT_TRUE(service_.emplace().ready());
        };
        for (const auto& [name, call] : std::initializer_list<std::pair<const char*, Call>>{
                 {"filesystems", [](Text) { return filesystems(); }},
                 {"listed", [](Text) { return listed(); }},
                 {"save", save_filesystems},
                 {"both", both},
                 {"storage", [this](Text) { return tables_.read(); }},
                 {"set", [this](Text what) { return tables_.set(what); }},
                 {"store", [this](Text) { return tables_.store(); }},
                 {"default", [this](Text row) { return tables_.set_default(row); }},
                 {"communities", [](Text) { return communities(); }},
                 {"hang", [](Text) { return hang(); }},
                 {"shutdown", set_shutdown},
                 {"watchdog", set_watchdog},
                 {"cpus", [](Text) { return cpus(); }},
                 {"judge", judge},
                 {"actions", [](Text) { return actions(); }},
                 {"boot", [](Text mode) { return outcome(MOVALSetMode(std::stoi(mode), 1) == 0); }},
                 {"mode",
                  [](Text) {
                      int mode = 0;
                      return outcome(GetUtlBootMode(&mode) != 0);
                  }},
                 {"told", told},
                 {"ask", [](Text request) {
                      using std::chrono::steady_clock, std::chrono::seconds;
                      return zel::client::request(request, steady_clock::now() + seconds(20)).text;
                  }}})
            add_call(name, call);
    }

  private:
    /// A second of so much load, in the kernel's counters, at once as far as a reader is concerned.
    void add_load(std::int64_t percent) {
        busy_ += percent;
        idle_ += 100 - percent;
        write_text(home("stat.new"),
                   "cpu  " + std::to_string(busy_) + " 0 0 " + std::to_string(idle_) + " 0 0 0 0 0 0\n");
        fs::rename(home("stat.new"), home("stat"));
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }

    std::int64_t busy_ = 0;
    std::int64_t idle_ = 0;
    Tables tables_;
    zel::base::UniqueFd watch_{inotify_init1(IN_NONBLOCK | IN_CLOEXEC)};
};

TEST_P(AgentCases, Hold) {
    walk();
}
INSTANTIATE_TEST_SUITE_P(, AgentCases, testing::ValuesIn(files_of(CASES)), stem_of);

}  // namespace
