// SPDX-License-Identifier: GPL-3.0-or-later
#include "tool_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "case_text.h"

namespace zeltest {
namespace {

namespace fs = std::filesystem;

// A later line of a script replaces these.
constexpr const char* kOrdinaryServer = R"(reg SOFTWARE\QUD\ZELAgent CurrentVersion=sz:4.1
reg SOFTWARE/QUD/ZELAgent/CPL=
)";

/// Whether a trace line, LEVEL|MODULE|FUNCTION|TEXT, carries a name that traced_functions.txt has for its module.
bool names_its_function(const std::string& line) {
    static const std::string known = '\n' + ToolTest::contents(TRACED_FUNCTIONS);
    std::istringstream parts(line);
    std::string level, module, function;
    std::getline(std::getline(std::getline(parts, level, '|'), module, '|'), function, '|');
    const auto at = known.find('\n' + module + ": ");
    return at == std::string::npos ||
           (known.substr(at, known.find('\n', at + 1) - at) + ' ').find(' ' + function + ' ') !=
               std::string::npos;
}

}  // namespace

std::string ToolTest::contents(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

ToolTest::ToolTest() {
    std::string name = (fs::temp_directory_path() / "zeltool-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    folder_ = name;
    fs::create_directory(folder_ / "data");
    for (const char* language : {"E_ctlpanel.rc", "J_ctlpanel.rc"})
        fs::create_symlink(fs::path(TOOL_DATA) / language, folder_ / "data" / language);
    options.command = {TOOL_PROGRAM};
    options.preload = {SCRIPTED_AGENT_LIBRARY, QUICK_BUTTONS_LIBRARY};
    options.environment = {{"ZelDir", folder_}, {"SCRIPTED_AGENT", folder_}};
    options.redirect[2] = folder_ / "errors";
}

ToolTest::~ToolTest() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void ToolTest::catalogue(const char* name, std::string_view text) const {
    fs::remove(folder_ / "data" / name);
    std::ofstream(folder_ / "data" / name) << text;
}

VtApp& ToolTest::launch(std::string_view script) {
    finish();
    for (const char* file : {"calls", "trace", "errors"})
        std::ofstream(folder_ / file, std::ios::trunc);
    std::ofstream(folder_ / "script") << kOrdinaryServer << script << "\n";
    calls_read_ = 0;
    return tool_.emplace(options);
}

VtApp& ToolTest::open_menu(std::string_view script) {
    launch(script);
    if (const auto settled = tool_->settle(); !settled)
        throw std::runtime_error(settled.message() + errors());
    return *tool_;
}

VtApp& ToolTest::open_panel(const std::string& name, std::string_view script) {
    choose_row(open_menu(script), text("MAIN_TABNAME_" + name + "_ID"));
    calls();
    keys("Enter");
    return *tool_;
}

Lines ToolTest::lines_of(const char* file) const {
    Lines result;
    std::ifstream stream(folder_ / file);
    for (std::string line; std::getline(stream, line); result.push_back(line))
        if (const auto at = line.find(folder_.string()); at != std::string::npos)
            line.replace(at, folder_.string().size(), "$ZelDir");
    return result;
}

Lines ToolTest::calls() {
    Lines all = lines_of("calls");
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(calls_read_));
    calls_read_ += all.size();
    return all;
}

bool ToolTest::traced(std::string_view line) const {
    return std::ranges::any_of(trace(), [&](const std::string& traced_line) {
        return traced_line.starts_with(line.substr(0, 2)) &&
               fits("..." + std::string(line.substr(1)), traced_line);
    });
}

std::string ToolTest::text(std::string_view identifier, const char* name) const {
    const std::string all = contents(folder_ / "data" / name);
    const std::string start = "\n[" + std::string(identifier) + "]=\"";
    const auto at = all.find(start);
    EXPECT_NE(at, std::string::npos) << identifier;
    if (at == std::string::npos) return {};
    const auto from = at + start.size();
    return all.substr(from, all.find('"', from) - from);
}

void ToolTest::finish() {
    if (!tool_) return;
    if (!tool_->has_ended()) tool_->hang_up();
    EXPECT_EQ(tool_->wait_exit(), 0) << errors();
    for (const std::string& line : trace())
        EXPECT_TRUE(names_its_function(line)) << line;
    tool_.reset();
}

}  // namespace zeltest
