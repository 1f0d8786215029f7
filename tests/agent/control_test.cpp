// SPDX-License-Identifier: GPL-3.0-or-later
// The server's name, SNMP communities, hang settings and the maintenance boot mode on a made-up machine.
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <cstring>
#include <map>

#include "access/service_client.h"
#include "foundation.h"
#include "zel/access_control.h"
#include "zel/tracelog.h"

namespace {

namespace fs = std::filesystem;
namespace access = zel::access;
using namespace zel::test;
using Strings = std::vector<std::string>;

class Control : public ::testing::Test {
  protected:
    void SetUp() override {
        if (folder_.empty()) {
            folder_ = fs::temp_directory_path() / "zel-control-XXXXXX";
            ASSERT_NE(mkdtemp(folder_.data()), nullptr);
            setenv("ZelDir", folder_.c_str(), 1);
            ASSERT_EQ(TraceLogInit(0, "control", 0, 5, 0), 0);
        }
        for (const char* name : {"state", "snmp/d"})
            fs::create_directories(path(name));
        write_text(path("agent.conf"), "[snmp]\nconf=" + path("snmp/snmpd.conf") +
                                           "\n[controller]\ninterface=none\n" + "[maintenance]\ngrubenv=" +
                                           path("grubenv") + "\ngrub_editenv=" + path("editenv") + "\n");
    }
    void TearDown() override {
        for (const char* name : {"snmp", "state/registry.conf", "grubenv", "editenv"})
            fs::remove_all(path(name));
    }
    static void TearDownTestSuite() { fs::remove_all(folder_); }

    static std::string path(const std::string& name) { return folder_ + '/' + name; }
    static void registry(const std::string& key, const std::string& values) {
        write_text(path("state/registry.conf"), "[SOFTWARE/QUD/ZELAgent/" + key + "]\n" + values);
    }
    static std::string registry() { return read_text(path("state/registry.conf")); }

    static inline std::string folder_;
};

/// The names of a list as a caller has it filled.
Strings communities() {
    auto* head = static_cast<CommunityNode*>(calloc(1, sizeof(CommunityNode)));
    const int count = GetCommunityNamefromConf(head);
    Strings names;
    for (const auto* node = head; node && count > 0; node = node->next) {
        EXPECT_EQ(node->index, std::ssize(names));
        names.emplace_back(node->name);
    }
    EXPECT_EQ(count, std::ssize(names));
    EXPECT_EQ(FreeCommnityStruct(&head), 1);
    EXPECT_EQ(head, nullptr);
    return names;
}

TEST_F(Control, CommunitiesAreTheOnesThatTheDaemonTakes) {
    const std::string n31(31, 'a'), n32(32, 'b'), n99(99, 'c'), n100(100, 'd'), blanks(70'000, ' ');
    const struct {
        std::map<std::string, std::string> files;
        Strings names;
    } cases[] = {
        {{{"snmpd.conf", ""}}, {}},
        {{}, {}},
        {{{"snmpd.conf",
           "rocommunity one default -V x\n\t RWCommunity two\r\nrocommunity6 six\nrwcommunity6\ttwo\n"
           "authcommunity log,execute auth\ncom2sec -Cn ctx sec default ctxname\ncom2sec -Cn ctx sec d\n"
           "com2sec6 sec ::1 c6\ncom2secunix sec /x cu\nrocommunity\n#rocommunity no\n"
           "trapcommunity no\ntrapsink host no\nrocommunityx no\nrocommunity last"}},
         {"one", "two", "six", "auth", "ctxname", "c6", "cu", "last"}},
        {{{"snmpd.conf",
           "rocommunity \"a b\\\"c\"d\nrocommunity 'it\"s'\nrocommunity e\\ f\\\\\nrocommunity ha#sh # x\n"
           "rocommunity #no\nrocommunity ''\nrocommunity go\\\nrocommunity \"open end\n\"rocommunity\" q"}},
         {"a b\"c", "it\"s", "e f\\", "ha#sh", "go\\", "open end", "q"}},
        {{{"snmpd.conf",
           "[snmp]\nrocommunity no\n[snmpd] rocommunity line\nrocommunity no\nincludeFile d/in.conf\n"
           "[snmpd]\nrocommunity yes\n[snmp] rocommunity no\n[open rocommunity no\nrocommunity too\n"
           "[other] includeFile d/no.conf\nincludeFile d/in.conf\n"},
          {"d/in.conf", "rocommunity inherited\n[snmp]\n"},
          {"d/no.conf", "rocommunity no"}},
         {"line", "yes", "too", "inherited"}},
        {{{"snmpd.conf",
           "includedir d\nIncludeFile \t d/with blank.txt \r\nincludeFile gone\nincludeDir gone\n"
           "includeFile d\nincludeFile\nrocommunity end"},
          {"d/b.conf", "rocommunity b\nincludeFile ../snmpd.conf"},
          {"d/a.conf", "rocommunity a\n"},
          {"d/.c.conf", "rocommunity no"},
          {"d/d.conf~", "rocommunity no"},
          {"d/with blank.txt", "includeFile a.conf\nrocommunity w"}},
         {"a", "b", "w", "end"}},
        {{{"snmpd.conf", "rocommunity " + n31 + "\nrocommunity " + n32 + "\nrocommunity " + n99 +
                             "\nrocommunity " + n100 + "\nrocommunity " + n99 + "\nrocommunity " + blanks +
                             "no\nrocommunity x" + blanks + "\nrocommunity " + blanks.substr(0, 65'519) +
                             "whole\nrocommunity " + blanks.substr(0, 65'520) +
                             "halfs\nrocommunity b\x01l\nrocommunity " + std::string("n\0l", 3) +
                             "\nrocommunity \xFF\nrocommunity \xC2\x85\nrocommunity \xC3\xA4\n" +
                             std::string(3, '\0') + "\x7F\xFE"}},
         {n31, n32, n99, "x", "whole", "\xC3\xA4"}},
    };
    for (const auto& c : cases) {
        for (const auto& [name, text] : c.files)
            write_text(path("snmp/" + name), text);
        EXPECT_EQ(communities(), c.names);
        for (const auto& entry : fs::recursive_directory_iterator(path("snmp"))) {
            if (!entry.is_directory()) fs::remove(entry);
        }
    }
    const std::string traced = read_text(path("state/log/control.log"));
    EXPECT_NE(traced.find("community names left out"), std::string::npos);
    EXPECT_EQ(traced.find("ddddd"), std::string::npos);
}

TEST_F(Control, NoConfigurationKeepsTheReaderBusy) {
    Strings chain;
    for (int i = 0; i < 20; ++i) {
        const std::string number = std::to_string(i);
        write_text(
            path(i == 0 ? "snmp/snmpd.conf" : "snmp/" + number),
            "includeFile " + std::to_string(i + 1) + "\nincludeFile snmpd.conf\nrocommunity n" + number);
        if (i <= 16) chain.insert(chain.begin(), "n" + number);
    }
    EXPECT_EQ(communities(), chain);

    // More files than are read, each of which includes one of 50 MB; more names than are listed.
    std::string large;
    for (int i = 0; large.size() < 50'000'000; ++i)
        large += "rocommunity name" + std::to_string(i % 9'000) + " #" + std::string(1'000, '-') + '\n';
    write_text(path("snmp/snmpd.conf"), "includeFile large\nincludeDir d\nrocommunity end\nincludeFile more");
    write_text(path("snmp/large"), large);
    for (int i = 1000; i < 2100; ++i)
        write_text(path("snmp/d/" + std::to_string(i) + ".conf"),
                   "includeFile ../large\nrocommunity f" + std::to_string(i));
    const Strings names = communities();
    ASSERT_GT(names.size(), 9'300U);
    EXPECT_EQ(names.back(), "end");
    std::string many;
    for (int i = 0; i < 20'000; ++i)
        many += "rocommunity m" + std::to_string(i) + '\n';
    write_text(path("snmp/snmpd.conf"), many);
    EXPECT_EQ(communities().size(), 10'000U);

    fs::resize_file(path("snmp/snmpd.conf"), (64ULL << 20U) + 1);
    EXPECT_EQ(communities(), Strings());
    fs::remove(path("snmp/snmpd.conf"));
    ASSERT_EQ(mkfifo(path("snmp/snmpd.conf").c_str(), 0600), 0);
    EXPECT_EQ(communities(), Strings());
    fs::remove(path("snmp/snmpd.conf"));
    fs::create_directory(path("snmp/snmpd.conf"));
    EXPECT_EQ(communities(), Strings());
}

TEST_F(Control, RackSnmpAndCommunityComeBackAsTheyWereSaved) {
    const auto settings = [] {
        std::array<char, RACK_NAME_SIZE> rack{'?'};
        std::array<char, COMMUNITY_REGISTRY_SIZE + 1> name{'?'};
        name.back() = '!';
        SnmpFlags flags{7, 7};
        EXPECT_NE(GetCurrentRackId(rack.data()), 1);
        EXPECT_NE(GetSnmpFlagsfromReg(&flags), 1);
        EXPECT_NE(GetCommunityNamefromReg(name.data()), 1);
        EXPECT_EQ(name.back(), '!');
        const std::string numbers = std::to_string(flags.enable) + std::to_string(flags.permit);
        return Strings{rack.data(), numbers, name.data()};
    };
    EXPECT_EQ(settings(), (Strings{"", "00", "plinth"}));
    const std::string x255(255, 'x'), x254(254, 'x'), c29(29, 'c'), euro("\xE2\x82\xAC"),
        whole = c29 + euro + "s";
    const SnmpFlags on{1, 1}, off{0, 1};
    EXPECT_NE(SetSnmpFlagstoReg(&on), 1);
    EXPECT_NE(SetCommunityNametoReg(whole.c_str()), 1);
    for (const auto& [given, saved] :
         {std::pair(x255 + "yz", x255), {x254 + euro, x254}, {x254 + "\xC3", x254}}) {
        EXPECT_NE(ApplyRackmount(given.c_str()), 1);
        EXPECT_EQ(settings(), (Strings{saved, "11", c29}));
    }
    // The caller may have but the beginning of a long name.
    CommunityNode last{1, {}, nullptr}, head{0, {}, &last};
    (c29 + euro).copy(head.name, 99);
    whole.copy(last.name, 99);
    for (const auto& [name, index] : {std::pair(c29, 1), {c29 + euro, 0}, {"other", -7}}) {
        int selected = -7;
        EXPECT_EQ(TestCurrentSameasBefore(name.c_str(), &head, &selected) == 0, index != -7);
        EXPECT_EQ(selected, index);
    }
    EXPECT_NE(SetSnmpFlagstoReg(&off), 1);
    for (const char* bad : {"a\nb", "\xFF", "\xC2\x85"}) {
        EXPECT_EQ(SetCommunityNametoReg(bad), 1);
        EXPECT_EQ(ApplyRackmount(bad), 1);
    }
    EXPECT_EQ(SetCommunityNametoReg(""), 1);
    EXPECT_EQ(SetCommunityNametoReg(std::string(100, 'c').c_str()), 1);
    EXPECT_EQ(settings(), (Strings{x254, "00", c29}));

    const std::string snmp = "\n[SOFTWARE/QUD/ZELAgent/SNMP]\n";
    registry("Rack", "Name=sz:a\\nb" + snmp + "Enable=dword:2\nPermit=dword:1\nCommunity=dword:5\n");
    EXPECT_EQ(settings(), (Strings{"", "00", "plinth"}));
    registry("Rack", "Name=sz:" + x255 + "y" + snmp + "Enable=dword:1\nPermit=sz:1\nCommunity=sz:\n");
    EXPECT_EQ(settings(), (Strings{x255, "10", "plinth"}));
}

TEST_F(Control, ActionCodesAreTheEightAndNoOther) {
    int made = 0;
    for (std::uint64_t code = 0; code < 256; ++code) {
        int when = -1, after = -1;
        if (GetTimeoutAct(&when, &after, code) == 0) {
            EXPECT_EQ(std::pair(when, after), std::pair(-1, -1));
            continue;
        }
        ++made;
        std::uint64_t again = ~std::uint64_t{0};
        EXPECT_NE(SetTimeoutAct(when, after, &again), 0);
        EXPECT_EQ(again, 0xFFFFFFFF00000000U | code);
        EXPECT_EQ(GetTimeoutAct(&when, &after, again), 0);
    }
    EXPECT_EQ(made, 8);
    std::uint32_t code = 0x23;
    for (const auto& [when, after] : {std::pair(-1, 0), {2, 0}, {0, -1}, {0, 4}})
        EXPECT_EQ(SetTimeoutAct(when, after, &code), 0);
    EXPECT_EQ(code, 0x23U);
}

TEST_F(Control, HangSettingsKeepTheirRangesAndTheServiceIsTold) {
    const auto address = access::SocketAddress::of(access::service_socket_path());
    const zel::store::UniqueFd service(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(service.get(), address->get(), address->size()), 0);
    ASSERT_EQ(listen(service.get(), 50), 0);
    const auto told = [&] {
        const zel::store::UniqueFd client(accept4(service.get(), nullptr, nullptr, SOCK_NONBLOCK));
        std::array<char, 99> text{};
        return std::string(text.data(), recv(client.get(), text.data(), text.size(), 0));
    };
    ShutdownRecord down{};
    WdtRecord dog{};
    const auto texts = [&] {
        std::memset(&down, 'T', sizeof down);
        EXPECT_NE(GetAllofShutDown(&down), 0);
        EXPECT_EQ(std::ranges::count(down.libraryTail, 'T'), std::ssize(down.libraryTail));
        EXPECT_NE(GetAllofWDT(&dog), 0);
        std::ostringstream text;
        text << down.dwHangEnable << ' ' << down.dwTimeout << ' ' << down.dwTimeoutAct << '|'
             << dog.qwHangEnable << ' ' << dog.qwInterval << ' ' << dog.qwTimeout << ' ' << dog.qwTimeoutAct
             << ' ' << dog.library;
        return text.str();
    };
    EXPECT_EQ(texts(), "0 600 1|0 30 120 1 0");
    const auto set_down = [&](std::uint32_t enable, std::uint32_t timeout, std::uint32_t action) {
        down = {enable, timeout, action, {}};
        return SetAllofShutDown(&down) == 0;
    };
    const auto set_dog = [&](std::array<std::uint64_t, 4> values) {
        dog = {values[0], values[1], values[2], values[3], 77};
        return SetAllofWDT(&dog) == 0;
    };
    EXPECT_TRUE(set_down(1, 300, 0x23) && set_down(1, 6000, 0));
    EXPECT_EQ(told() + ',' + told(), "reset shutdown,reset shutdown");
    EXPECT_TRUE(set_dog({1, 30, 90, 1}) && set_dog({1, 60, 600, 0x20}));
    EXPECT_EQ(told() + ',' + told(), "reset watchdog,reset watchdog");
    EXPECT_EQ(texts(), "1 6000 0|1 60 600 32 2");
    const std::string before = registry();
    EXPECT_FALSE(set_down(1, 299, 0) || set_down(1, 6001, 0) || set_down(1, ~0U, 0) || set_down(1, 600, 4) ||
                 set_down(2, 600, 0));
    const std::uint64_t wrapping = (std::uint64_t{1} << 32U) + 90;
    EXPECT_FALSE(set_dog({1, 29, 90, 0}) || set_dog({1, 61, 90, 0}) || set_dog({1, 30, 89, 0}) ||
                 set_dog({1, 30, 601, 0}) || set_dog({1, 30, wrapping, 0}) || set_dog({1, 30, 90, 0x40}) ||
                 set_dog({wrapping, 30, 90, 0}));
    EXPECT_EQ(registry(), before);
    // Switched off, what makes no sense does not matter and does not get in.
    EXPECT_TRUE(set_down(0, 5, 0x22) && set_dog({0, 45, wrapping, 255}));
    EXPECT_EQ(texts(), "0 6000 34|0 45 600 32 3");
    fs::remove(access::service_socket_path());
    EXPECT_TRUE(set_dog({0, 45, 90, 0}));  // without a service too

    registry("Shutdown",
             "HangEnable=dword:9\nTimeout=dword:299\nTimeoutAct=sz:1\n[SOFTWARE/QUD/ZELAgent/Watchdog]\n"
             "HangEnable=dword:1\nInterval=dword:4294967295\nTimeout=dword:91\nTimeoutAct=dword:36\n"
             "Generation=dword:4294967295\n");
    EXPECT_EQ(texts(), "0 600 1|1 30 91 1 4294967295");
}

TEST_F(Control, MaintenanceModeIsTheBootLoadersNextEntry) {
    const std::string block = "# GRUB Environment Block\n";
    write_text(path("editenv"),
               "#!/bin/sh\necho noise; echo noise >&2; [ \"$3\" = next_entry=stuck ] && exit 1\n"
               "[ $2 = set ] && line=\"$3\"\nprintf '" +
                   block + "saved=x\\n%s\\n####' \"$line\" >$1\n");
    fs::permissions(path("editenv"), fs::perms(0700));
    write_text(path("grubenv"), block + "next_entry=somebody's\nsaved_entry=0\n###########");
    int mode = -1;
    for (const char* none :
         {"Target=sz:\n", "Target=sz:ipmi:none\n", "Target=sz:grub:\n", "Target=dword:1\n", ""}) {
        registry("Maintenance", none);
        EXPECT_EQ(GetInstallStatus(), 0) << none;
        EXPECT_NE(GetUtlBootMode(&mode), 0);
        EXPECT_NE(MOVALSetMode(MOVAL_MODE_ON, 1), 0);
    }
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    registry("Maintenance", "Target=sz:grub:Rescue > $(x) 'a b\n");
    EXPECT_EQ(GetInstallStatus(), 1);
    for (const auto& [bad, flag] :
         {std::pair(-1, 1), {0, 1}, {0, -1}, {1, 0}, {1, 2}, {2, 1}, {16, 1}, {17, 0}})
        EXPECT_NE(MOVALSetMode(bad, flag), 0) << bad << ' ' << flag;
    EXPECT_EQ(MOVALSetMode(MOVAL_MODE_OFF, 0), 0);
    EXPECT_NE(read_text(path("grubenv")).find("somebody's"), std::string::npos);
    for (const auto& [wanted, is_on, immediate] :
         {std::tuple(MOVAL_MODE_ON, 1, 0), {MOVAL_MODE_ON_REBOOT, 1, 1}, {MOVAL_MODE_OFF, 0, 0}}) {
        EXPECT_EQ(MOVALSetMode(wanted, wanted == 0 ? 0 : 1), 0);
        EXPECT_NE(GetUtlBootMode(&mode), 0);
        EXPECT_EQ(mode, is_on);
        EXPECT_NE(registry().find("Immediate=dword:" + std::to_string(immediate)), std::string::npos);
    }
    registry("Maintenance", "Target=sz:grub:stuck\n");
    EXPECT_NE(MOVALSetMode(MOVAL_MODE_ON, 1), 0);
    fs::remove(path("editenv"));
    EXPECT_NE(MOVALSetMode(MOVAL_MODE_ON, 1), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout() + ::testing::internal::GetCapturedStderr(), "");

    registry("Maintenance", "Target=sz:grub:a\\\\\\\\b\n");  // twice: the file's escapes and the entry's own
    write_text(path("grubenv"), block + "next_entry=a\\\\\\\\b\n#");
    EXPECT_NE(GetUtlBootMode(&mode), 0);
    EXPECT_EQ(mode, MOVAL_MODE_ON);
    for (const char* damaged : {"", "next_entry=x\n"}) {
        write_text(path("grubenv"), damaged);
        EXPECT_EQ(GetUtlBootMode(&mode), 0);
    }
    registry("Maintenance", "Target=sz:ipmi:diag\n");  // and no controller
    EXPECT_EQ(GetInstallStatus(), -1);
    EXPECT_EQ(GetUtlBootMode(&mode), 0);
    EXPECT_NE(MOVALSetMode(MOVAL_MODE_ON, 1), 0);
    std::uint8_t seconds = 15;
    EXPECT_EQ(ZELChassisIdentify_V15(&seconds), CHASSIS_IDENTIFY_FAILED);
}

TEST_F(Control, ARegistryThatCannotBeReadOrWrittenIsAFailure) {
    fs::create_directory(path("state/registry.conf"));
    std::array<char, RACK_NAME_SIZE> text{"kept"};
    SnmpFlags flags{7, 7};
    ShutdownRecord down{};
    WdtRecord dog{};
    int mode = 7;
    EXPECT_EQ(GetCurrentRackId(text.data()) & GetCommunityNamefromReg(text.data()) & ApplyRackmount("R1") &
                  GetSnmpFlagsfromReg(&flags) & SetSnmpFlagstoReg(&flags) & SetCommunityNametoReg("c"),
              1);
    EXPECT_EQ(std::tuple(std::string(text.data()), flags.enable, mode), std::tuple("kept", 7, 7));
    EXPECT_EQ(GetAllofShutDown(&down) | GetAllofWDT(&dog) | GetUtlBootMode(&mode), 0);
    EXPECT_TRUE(SetAllofShutDown(&down) && SetAllofWDT(&dog) && MOVALSetMode(MOVAL_MODE_OFF, 0));
    EXPECT_EQ(GetInstallStatus(), -1);
}

}  // namespace
