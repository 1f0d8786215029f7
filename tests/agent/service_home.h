// SPDX-License-Identifier: GPL-3.0-or-later
// A fresh agent's directory per test process (made in access_test.cpp), so deep that a socket's plain path
// does not fit an address. Every test starts without state and configuration.
#pragma once

#include <filesystem>

#include "foundation.h"

namespace zel::test {

namespace fs = std::filesystem;

class AgentHome : public testing::Test {
  protected:
    void SetUp() override {
        fs::remove_all(store::state_dir());
        fs::remove_all(store::agent_dir() + "/lib");
        fs::remove(store::config_file());
        fs::create_directories(store::state_dir());
        fs::create_directories(store::agent_dir() + "/lib");
    }
};

inline void write_registry(const std::string& text) {
    write_text(store::state_dir() + "/registry.conf", text);
}

}  // namespace zel::test
