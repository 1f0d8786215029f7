// SPDX-License-Identifier: GPL-3.0-or-later
// The tool on its real libraries and service, on a private agent directory. Every file of cases/ is a road
// from start to end. Steps beside those of support/steps.h:
//
//   tool                    ends the tool that runs, and starts one
//   refuses TEXT            the same for a tool that tells this on the terminal and ends
//   menu ROW, ROW ...       these are the rows of the menu; $stock are those before the ones that only
//                           some servers have
//   open ROW                chooses a row of the menu
//   keys KEY KEY ...        see VtApp::keys
//   press BUTTON            moves to a button and presses it
//   shows TEXT              these words are on the screen, frames, line ends and an entry's room being blanks
//   told TEXT               a message says this, and is answered
#include "case_text.h"
#include "steps.h"
#include "vt_app.h"

namespace {

using namespace zel::test;
using Text = const std::string&;

class Road : public Steps {
  protected:
    Road() {
        for (const char* part : {"data", "lib"})
            fs::create_directory_symlink(fs::path(BUILT_AGENT) / part, home(part));
        options_.command = {TOOL_PROGRAM};
        options_.preload = {QUICK_BUTTONS_LIBRARY};
        options_.environment = {{"ZelDir", zel::base::agent_dir()}};
        options_.redirect[2] = home("errors");
        names_["$stock"] =
            "General, CPU Load, Event Log, Storage Devices, File Systems, LAN, RAID Controller (Mylex)";
        for (const auto& [name, step] :
             std::initializer_list<std::pair<const char*, void (Road::*)(Text)>>{{"tool", &Road::tool},
                                                                                 {"refuses", &Road::refuses},
                                                                                 {"menu", &Road::menu},
                                                                                 {"open", &Road::open},
                                                                                 {"keys", &Road::keys},
                                                                                 {"press", &Road::press},
                                                                                 {"shows", &Road::shows},
                                                                                 {"told", &Road::told}})
            steps_[name] = [this, step = step](Text line, Text /*below*/) { (this->*step)(line); };
    }

    /// Ends everything, and looks how it went.
    void finish() {
        end_tool();
        EXPECT_EQ(read_text(home("errors")), "");
        EXPECT_TRUE(!service_ || service_->rests());
    }

  private:
    std::string circumstances() override { return tool_ ? tool_->picture() : ""; }

    void tool(Text /*none*/) {
        end_tool();
        EXPECT_TRUE(tool_.emplace(options_).settle()) << read_text(home("errors"));
    }
    void refuses(Text text) {
        end_tool();
        EXPECT_EQ(tool_.emplace(options_).wait_exit(), 0);
        EXPECT_EQ(tool_->picture(), text + '\n');
        tool_.reset();
    }
    void end_tool() {
        if (!tool_) return;
        tool_->send("Ctrl-O");  // ends it where the menu is on top
        EXPECT_EQ(tool_->wait_exit(), 0) << tool_->picture();
        EXPECT_TRUE(tool_->terminal_restored());
        tool_.reset();
    }

    void keys(Text names) { tool_->keys(names); }
    void press(Text button) { zeltest::press(*tool_, button); }
    void menu(Text rows) {
        keys("Home");
        std::istringstream each(rows);
        std::string row;
        for (; std::getline(each >> std::ws, row, ','); keys("Down"))
            EXPECT_EQ(highlighted(*tool_), row);
        EXPECT_EQ(highlighted(*tool_), rows.substr(rows.rfind(',') + 2)) << "there is one row more";
    }
    void open(Text row) {
        zeltest::choose_row(*tool_, row);
        keys("Enter");
    }
    void shows(Text text) { EXPECT_TRUE(has(zeltest::plain(tool_->picture()), ' ' + text + ' ')); }
    void told(Text text) {
        shows(text);
        EXPECT_TRUE(tool_->shows("│  ok  │"));
        keys("Enter");
    }

    zeltest::VtOptions options_;
    std::optional<zeltest::VtApp> tool_;
};

TEST_P(Road, IsWalkedToItsEnd) {
    walk();
    if (!HasFailure()) finish();
}
INSTANTIATE_TEST_SUITE_P(, Road, testing::ValuesIn(files_of(ROADS)), stem_of);

}  // namespace
