// SPDX-License-Identifier: GPL-3.0-or-later
#include "md_arrays.h"

#include <string_view>

#include "attribute.h"
#include "base/file_io.h"
#include "store/agent_config.h"

namespace zel::system {

std::vector<MdMember> md_members() {
    constexpr std::string_view kMember = "dev-";
    const std::string blocks = store::configured("monitor", "sys_block", "/sys/block") + '/';
    const std::vector<std::string> none;
    std::vector<MdMember> members;
    for (const std::string& array : base::names_in(blocks).value_or(none)) {
        const std::string folder = blocks + array + "/md/";
        for (const std::string& name : base::names_in(folder).value_or(none)) {
            if (!name.starts_with(kMember)) continue;
            if (const auto errors = attribute_number(folder + name + "/errors"))
                members.push_back({array, name.substr(kMember.size()), *errors});
        }
    }
    return members;
}

}  // namespace zel::system
