// SPDX-License-Identifier: GPL-3.0-or-later
// The community names that the general panel offers.
#pragma once

#include <zel/access_control.h>

#include <cstdint>
#include <string>

namespace zel {

class CommunityList {
  public:
    CommunityList() = default;
    ~CommunityList() { FreeCommnityStruct(&head_); }
    CommunityList(const CommunityList&) = delete;
    CommunityList& operator=(const CommunityList&) = delete;

    /// Reads the names of the SNMP daemon's configuration ("plinth" alone when it has none) and the stored
    /// one, which is put in front when the configuration lacks it. False, after a message, on failure.
    bool read();

    [[nodiscard]] const CommunityNode* head() const { return head_; }
    [[nodiscard]] std::int32_t selectedIndex() const { return selectedIndex_; }
    /// True when the first name is the stored one and the configuration does not hold it.
    [[nodiscard]] bool notInConf() const { return notInConf_; }

    /// Stores the name of a row, by way of the default for each row above it.
    void store(std::int32_t row) const;

  private:
    bool allocate_head();
    bool put_in_front(const std::string& name);

    CommunityNode* head_ = nullptr;
    std::int32_t selectedIndex_ = 0;
    bool notInConf_ = false;
};

/// A node's name, read with the bound of its field.
std::string community_name(const CommunityNode& node);

}  // namespace zel
