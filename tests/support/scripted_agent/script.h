// SPDX-License-Identifier: GPL-3.0-or-later
// The memory of the scripted agent: what it is told to answer, and what it was asked.
//
// The folder named by SCRIPTED_AGENT holds
//   script   lines NAME=VALUE, a later line replacing an earlier one of the same name:
//              CheckNTserverReady=-1           a call's result
//              PutCpuThreshold=1,0,1           successive results, the last one repeated
//              PutCpuThreshold.waits=9         seconds before the call returns
//              cpu.settings=10,60,0,1,2        numbers of a record, in field order, the rest 0
//              reg KEY NAME=dword:0xC0         a registry value (or sz:TEXT); KEY is compared as written
//   calls    every call with its arguments, in order: PutCpuThreshold(0,{1,90,80,70,60})
//   trace    every trace line: LEVEL|MODULE|FUNCTION|TEXT
// A call that the script does not name succeeds in the most ordinary way.
#pragma once
#include <concepts>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

/// The arguments of a call as the calls file shows them.
std::string shown(std::string_view text);
std::string shown(std::span<const int32_t> numbers);  ///< {1,2,3}
std::string shown(std::integral auto number) {
    return std::to_string(number);
}
std::string hex(uint64_t number);  ///< 0xc0

/// Notes the call and returns its next scripted result, `otherwise` when the script does not name it.
int64_t called(std::string_view name, const std::string& arguments, int64_t otherwise);

template <class Result = int, class... Arguments>
Result call(std::string_view name, Result otherwise, const Arguments&... arguments) {
    std::string all;
    ((all += (all.empty() ? "" : ",") + shown(arguments)), ...);
    return static_cast<Result>(called(name, all, otherwise));
}

/// Copies the scripted numbers `name` over a record that consists of int32 fields only. Nothing when not
/// scripted.
void fill(std::string_view name, std::span<int32_t> fields);

template <class Record>
std::span<int32_t> fields_of(Record& record) {
    static_assert(sizeof(Record) % sizeof(int32_t) == 0);
    return {reinterpret_cast<int32_t*>(&record), sizeof(Record) / sizeof(int32_t)};
}

template <class Record>
std::span<const int32_t> fields_of(const Record& record) {
    return {reinterpret_cast<const int32_t*>(&record), sizeof(Record) / sizeof(int32_t)};
}

/// The parts between the commas of NAME's value, empty when the script does not name it.
std::vector<std::string> parts(std::string_view name);

/// All lines of the script, to be looked at and, by a registry write, changed.
std::map<std::string, std::string, std::less<>>& lines();

/// Appends a line to the file of that name in the agent's folder; line feeds inside are shown as \n.
void note(const char* file, std::string line);

}  // namespace scripted
