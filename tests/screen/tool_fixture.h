// SPDX-License-Identifier: GPL-3.0-or-later
// The tool on a terminal, on a server that the test describes line by line.
#pragma once
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vt_app.h"

namespace zeltest {

using Lines = std::vector<std::string>;

class ToolTest : public testing::Test {
  public:
    static std::string contents(const std::filesystem::path& file);

  protected:
    ToolTest();
    ~ToolTest() override;
    void TearDown() override { finish(); }

    /// How the tool is started; a test may change it before launch(). Standard error goes to a file.
    VtOptions options;

    /// Puts a catalogue of the test's own in place of the built one.
    void catalogue(const char* name, std::string_view text) const;

    /// Starts the tool with the agent playing by `script` (see scripted_agent/script.h), on top of a server
    /// with agent 4.1 and nothing special. An earlier tool of this test is finished first.
    VtApp& launch(std::string_view script = "");
    /// The same, waiting for the main menu.
    VtApp& open_menu(std::string_view script = "");
    /// The same, in a panel ("CPU": that of the row MAIN_TABNAME_CPU_ID), the calls before it taken.
    VtApp& open_panel(const std::string& name, std::string_view script);

    VtApp& tool() { return *tool_; }
    void keys(std::string_view names) { tool_->keys(names); }
    bool shows(std::string_view text) const { return tool_->shows(text); }
    void press(std::string_view button) { zeltest::press(*tool_, button); }
    std::string highlighted() const { return zeltest::highlighted(*tool_); }

    Lines calls();  ///< the agent's calls since the last asking, the temporary folder shown as $ZelDir
    Lines trace() const { return lines_of("trace"); }  ///< all trace lines: LEVEL|MODULE|FUNCTION|TEXT
    /// Whether a line of that level and text was traced: "LEVEL|TEXT".
    bool traced(std::string_view line) const;
    std::string errors() const { return contents(folder_ / "errors"); }  ///< standard error
    /// A text of the catalogue in use, English unless told.
    std::string text(std::string_view identifier, const char* name = "E_ctlpanel.rc") const;

    const std::filesystem::path& folder() const { return folder_; }

    /// Takes the terminal away from a tool that still runs; fails unless every end was with status 0 and
    /// every trace line under the name of its function.
    void finish();

  private:
    Lines lines_of(const char* file) const;

    std::filesystem::path folder_;
    std::size_t calls_read_ = 0;
    std::optional<VtApp> tool_;
};

}  // namespace zeltest
