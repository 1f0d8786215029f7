// SPDX-License-Identifier: GPL-3.0-or-later
// A test that is a text: a step a line, from the start of a file to its end or to the first step that fails;
// the indented lines behind a step belong to it. Steps of every such test:
//
//   $NAME TEXT              an abbreviation; $ZelDir is the agent's directory, $controller the lines of agent.conf
//                           that lead to the simulated controller, {x*99} a repetition and \x1b a byte
//   write FILE              the indented lines, into the agent's directory
//   bytes FILE XX XX ...    a file of these bytes
//   chmod FILE 0640         who may do what with it
//   remove FILE             or a folder
//   move FILE               to another name, as an administrator does with a log
//   file FILE [GROUP] LINE  the group of that file has the line, or a file of that name, wherever it lies,
//                           the text
//   lacks FILE TEXT         the file has no such text
//   controller              starts the simulated controller with the sensors of the indented lines, a small
//                           server's without any: NAME FIELD=NUMBER ... (tools/simulator/simulation.h)
//   controller again        the one before is gone; this one has its address
//   rules RULE; RULE        what it does from now on (tools/simulator/zelsim_module.c); nothing: as usual
//   asked REQUEST           it was asked something that begins so since the last such step; "asked nothing", or
//                           nothing that begins so; with indented lines: these, in order, of all that begin so; alone:
//                           whatever it was
//   await REQUEST           it is asked something that begins so, within ten seconds
//   each ITEM; ITEM         the indented steps, $it being one item after the other
//   service                 starts the service
//   reload                  it is told to read its settings again, and looks at everything
//   ends                    it is told to end, and does
//   log TEXT                the service says this, or the indented lines, one right behind the other
//   shell COMMAND           what a command in the agent's directory says
//   within MS STEP          the step takes no longer; within MS-MS: nor is it done earlier
#pragma once

#include <functional>
#include <map>
#include <optional>

#include "running_simulator.h"
#include "service_process.h"

namespace zel::test {

/// What stands before the first `mark`, and what behind it.
std::pair<std::string, std::string> split_at(const std::string& text, const std::string& mark);
bool has(const std::string& text, const std::string& part);

/// What a command says on both of its outputs, and its status where that is not 0: "text (3)"; "ok" for nothing at all.
std::string shell(const std::string& command);

class Steps : public testing::TestWithParam<std::string> {
  protected:
    /// What a step does with the rest of its line and the indented lines.
    using Step = std::function<void(const std::string& line, const std::string& below)>;
    /// A call of the agent: what it answers. The text behind a " = " or the indented lines are expected of it, "ok"
    /// when there are none; "..." in front or behind stands for more.
    using Call = std::function<std::string(const std::string& line)>;

    Steps();
    void add_call(const std::string& name, const Call& call);
    /// Walks the file that the test is named by.
    void walk();
    /// Looks at what else may show what went wrong.
    virtual std::string circumstances() { return ""; }

    void await(const std::string& beginning);

    std::map<std::string, Step> steps_;
    std::map<std::string, std::string> names_;
    std::optional<RunningSimulator> simulator_;
    std::optional<ServiceProcess> service_;

  private:
    std::string expanded(std::string text);
    void take(const std::string& line, const std::string& below);
    void expect_asked(const std::string& what, const std::string& exactly);
    void start_controller(const std::string& how, const std::string& sensors);
};

/// The files of a folder, and the test's name of one.
Strings files_of(const char* folder);
std::string stem_of(const testing::TestParamInfo<std::string>& file);

}  // namespace zel::test
