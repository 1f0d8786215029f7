// SPDX-License-Identifier: GPL-3.0-or-later
// In libFuzzer's place where a build has none: feeds each file named, its beginnings, and it with one byte
// after the other spoilt. What a failing reader was fed stays in READER.fed.
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
        for (std::size_t at = 0; at < seed.size() && at < 400; ++at) {
            feed(seed.substr(0, at));
            feed(std::string(seed).replace(at, 1, 1, "\xFF\x7F\n\\\"[]=%"[at % 10]));  // a zero byte, too
        }
    }
}
