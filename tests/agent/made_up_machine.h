// SPDX-License-Identifier: GPL-3.0-or-later
// A machine made up of files, and its file systems.
#pragma once

#include <map>

#include "home.h"
#include "steps.h"
#include "zel/access_monitor.h"

namespace zel::test {

/// Mounts made up as "<id> <parent's id> <major:minor> <folder> <path> <type>", a line each.
inline void mount(const std::string& mounts) {
    std::istringstream lines(mounts);
    std::ofstream file(home("mountinfo"));
    for (std::string line; std::getline(lines, line);)
        file << line.substr(0, line.rfind(' ')) << " rw - " << line.substr(line.rfind(' ')) << " x rw\n";
}

/// A disk "NAME FIELD=TEXT ...": below (the folder of its device), size, wwid, hidden.
inline void add_disk(const std::string& what) {
    const auto fields_at = what.find('=') < what.size() ? what.rfind(' ', what.find('=')) : what.size();
    const std::string name = what.substr(0, fields_at);
    std::istringstream words(what.substr(name.size()));
    std::map<std::string, std::string> fields = {
        {"below", "pci0/block"}, {"size", "8"}, {"wwid", ""}, {"hidden", "0"}};
    for (std::string word; words >> word;) {
        const auto [field, value] = split_at(word, "=");
        fields.at(field) = value;
    }
    const std::string device = "devices/" + fields.at("below") + '/' + name;
    fs::create_directories(home("sys/" + device + "/device"));
    const std::string wwid = name.starts_with("nvme") ? "/wwid" : "/device/wwid";
    for (const auto& [attribute, field] :
         {std::pair<std::string, const char*>{"/size", "size"}, {"/hidden", "hidden"}, {wwid, "wwid"}})
        write_text(home("sys/" + device + attribute), fields.at(field) + '\n');
    fs::create_symlink("../" + device, home("sys/block/" + name));
}

inline void make_machine() {
    fs::create_directories(home("sys/block"));
    write_text(home("agent.conf"),
               "[monitor]\nsys_block=" + home("sys/block") + "\nmountinfo=" + home("mountinfo") +
                   "\ncpu_present=" + home("present") + "\n[snmp]\nconf=" + home("snmp/snmpd.conf") + '\n');
    mount("1 0 8:1 / / ext4");
}

/// The paths of the file systems that the library lists, each with a semicolon, "@" being the home.
inline std::string listed() {
    auto* head = static_cast<FsThresholdRecord*>(calloc(1, sizeof(FsThresholdRecord)));
    int cycle = -1;
    std::string all;
    const bool read = File_ReadThresholdFromFile(head, &cycle) == 1;
    for (const auto* one = head; one && read; one = one->next)
        all += one->path + std::string(";");
    for (std::size_t at = 0; (at = all.find(home(""))) != std::string::npos;)
        all.replace(at, home("").size(), "@");
    EXPECT_EQ(FreeMemofStruct(&head), 1);
    return all;
}

/// A valid record: 74 to 71 percent, 10 to 13 MiB.
inline FsThresholdRecord record(const std::string& path, int mode = FS_MODE_PERCENT) {
    FsThresholdRecord result{{}, {}, 10, 11, 74, 73, mode, 12, 13, 72, 71, 0, nullptr};
    path.copy(result.path, FS_PATH_SIZE - 1);
    return result;
}

inline int save(std::vector<FsThresholdRecord> records, int cycle = 30) {
    for (std::size_t i = 1; i < records.size(); ++i)
        records[i - 1].next = &records[i];
    return ResetFilesysService(records.data(), cycle);
}

}  // namespace zel::test
