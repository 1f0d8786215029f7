// SPDX-License-Identifier: GPL-3.0-or-later
// In libFuzzer's place where a build has none: feeds each file named and, of a short one, its beginnings and
// what it is with one byte spoilt. What a failing reader was fed stays in READER.fed.
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    const auto feed = [](const std::string& input) {
        std::ofstream(std::string(std::getenv("ZEL_READER")) + ".fed", std::ios::binary) << input;
        const std::vector<std::uint8_t> exact(input.begin(), input.end());  // a read beyond its end is seen
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
    };
    for (const char* name : std::span(argv + 1, argv + argc)) {
        std::ifstream file(name, std::ios::binary);
        const std::string seed{std::istreambuf_iterator<char>(file), {}};
        feed(seed);
        // Of a long seed every few bytes: the readers' runs are many, and scripts/fuzz reaches the rest.
        const std::size_t step = 1 + seed.size() / 200;
        for (std::size_t at = 0; at < seed.size() && seed.size() < 1000; at += step) {
            feed(seed.substr(0, at));
            for (const int byte : {seed[at] + 1, 0xFF, int{"\x7F\n\\\"[]=%"[at % 9]}})  // a zero, too
                feed(std::string(seed).replace(at, 1, 1, static_cast<char>(byte)));
        }
    }
}
