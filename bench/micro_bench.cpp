// SPDX-License-Identifier: GPL-3.0-or-later
// Nanoseconds of what happens hundreds of times: a catalogue look-up and a trace line.
#include <benchmark/benchmark.h>
#include <zel/tracelog.h>

#include <filesystem>
#include <string>

#include "../src/common/readstrfile.h"

namespace {

std::string catalogue_of(std::int64_t entries) {
    std::string catalogue;
    for (std::int64_t i = 0; i < entries; ++i)
        catalogue += "[ENTRY_" + std::to_string(10000 + i) + "_ID]=\"The text of one entry\"\n";
    return catalogue;
}

/// The last entry, so the whole catalogue is scanned, trace lines included.
void look_up(benchmark::State& state) {
    const std::string catalogue = catalogue_of(state.range(0));
    const std::string identifier = "ENTRY_" + std::to_string(10000 + state.range(0) - 1) + "_ID";
    char text[zel::kTextBufferSize];
    for (auto _ : state)
        benchmark::DoNotOptimize(zel::CPGetText(identifier.c_str(), text, catalogue.c_str()));
}
BENCHMARK(look_up)->Arg(138)->Arg(2000);

void trace_line(benchmark::State& state) {
    int line = 0;
    for (auto _ : state)
        TraceLog(TRACE_LEVEL_TRACE, "bench", "trace_line", ++line, "<return %d.", line);
}
BENCHMARK(trace_line);

}  // namespace

int main(int argc, char** argv) {
    std::string folder = (std::filesystem::temp_directory_path() / "zelmicro-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) return 1;
    setenv("ZelDir", folder.c_str(), 1);
    TraceLogInit(0, "bench", 0, 5, 0);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}
