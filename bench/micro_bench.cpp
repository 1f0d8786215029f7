// SPDX-License-Identifier: GPL-3.0-or-later
// What happens hundreds of times: a catalogue look-up and a trace line.
#include <agntconf/readstrfile.h>
#include <zel/tracelog.h>

#include <filesystem>
#include <string>

#include "statistics.h"

namespace {

constexpr int kSamples = 21;
constexpr int kRepeats = 1000;

/// Microseconds of one run, from samples of many.
template <class Run>
bench::Samples microseconds(Run&& run) {
    bench::Samples samples;
    for (int sample = 0; sample < kSamples; ++sample)
        samples.push_back(bench::milliseconds([&] {
            for (int i = 0; i < kRepeats; ++i)
                run(i);
        }));
    return samples;  // milliseconds of a thousand are microseconds of one
}

/// The last entry, so the whole catalogue is scanned, trace lines included.
void measure_look_up(int entries) {
    std::string catalogue;
    for (int i = 0; i < entries; ++i)
        catalogue += "[ENTRY_" + std::to_string(10000 + i) + "_ID]=\"The text of one entry\"\n";
    const std::string identifier = "ENTRY_" + std::to_string(10000 + entries - 1) + "_ID";
    char text[zel::kTextBufferSize];
    bench::print_value(
        "look-up of the last of " + std::to_string(entries) + " texts",
        microseconds([&](int) { zel::CPGetText(identifier.c_str(), text, catalogue.c_str()); }), "us");
}

}  // namespace

int main() {
    std::string folder = (std::filesystem::temp_directory_path() / "zelmicro-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) return 1;
    setenv("ZelDir", folder.c_str(), 1);
    TraceLogInit(0, "bench", 0, 5, 0);
    measure_look_up(138);
    measure_look_up(2000);
    bench::print_value("a trace line", microseconds([](int line) {
                           TraceLog(TRACE_LEVEL_TRACE, "bench", "trace_line", line, "<return %d.", line);
                       }),
                       "us");
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}
