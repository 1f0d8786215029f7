// SPDX-License-Identifier: GPL-3.0-or-later
// Feeds mutated inputs to the readers, each in a process of its own with limits of time and memory:
//
//   fuzz [-n INPUTS | -t SECONDS] [-s SEED] [READER]   says how many inputs were tried
//   fuzz -i FILE READER                                a stored input again
//
// The input at which a reader failed is stored as fuzz-READER.input. Built with
// -fsanitize-coverage=trace-cmp, inputs that make comparisons come out in a new way are mutated further.
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <type_traits>

#include "fuzz.h"

namespace {

using namespace zel::fuzz;
namespace fs = std::filesystem;

constexpr unsigned kSecondsPerInput = 10;
constexpr rlim_t kMostMemory = rlim_t{1} << 30;
constexpr std::size_t kLongestInput = std::size_t{1} << 16;
constexpr std::size_t kCommonInput = 4096;  // longer ones take long, so they come seldom
constexpr std::size_t kLargestPool = 20'000;

// What the comparisons of the reader came out at.
bool watching = false;
bool seen_new = false;
bool seen[1U << 18U];

/// Called for each comparison in code that is built for it.
template <class Number>
__attribute__((no_sanitize_coverage, no_sanitize("address", "undefined"))) void compared(const void* place,
                                                                                         Number a, Number b) {
    if (!watching) return;
    auto closeness = static_cast<std::uint64_t>(a == b ? 0 : a < b ? 1 : 2);
    if constexpr (std::is_integral_v<Number>)
        closeness = static_cast<std::uint64_t>(__builtin_popcountll(std::uint64_t{a} ^ b));
    bool& slot = seen[(reinterpret_cast<std::uintptr_t>(place) * 0x9E3779B97F4A7C15U + closeness) >> 46U];
    seen_new = seen_new || !slot;
    slot = true;
}

}  // namespace

#define ZEL_ON_COMPARE(name, Number)                                                                        \
    extern "C" __attribute__((no_sanitize_coverage, visibility("default"))) void name(Number a, Number b) { \
        compared(__builtin_return_address(0), a, b);                                                        \
    }
ZEL_ON_COMPARE(__sanitizer_cov_trace_cmp1, std::uint8_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_cmp2, std::uint16_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_cmp4, std::uint32_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_cmp8, std::uint64_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_const_cmp1, std::uint8_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_const_cmp2, std::uint16_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_const_cmp4, std::uint32_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_const_cmp8, std::uint64_t)
ZEL_ON_COMPARE(__sanitizer_cov_trace_cmpf, float)
ZEL_ON_COMPARE(__sanitizer_cov_trace_cmpd, double)

namespace {

class Mutator {
  public:
    Mutator(const Target& target, std::uint64_t seed)
        : pool_(target.seeds), words_(target.words), random_(seed) {
        std::istringstream common(
            "= [ ] \\ \" %s # \x7F \xC3\xA4 \xFF\xFF\xFF\xFF -1 0x 2147483648 4294967296 "
            "9223372036854775808 99999999999999999999");
        words_.insert(words_.end(), std::istream_iterator<std::string>(common), {});
        words_.insert(words_.end(), {"\n", " ", "\r\n", "\t"});
        words_.emplace_back(4, '\0');
        words_.emplace_back(300, 'a');
    }

    std::string next() {
        std::string input = pick(pool_);
        for (std::size_t steps = std::size_t{1} << below(4); steps > 0; --steps)
            mutate(input);
        input.resize(std::min(input.size(), below(16) == 0 ? kLongestInput : kCommonInput));
        return input;
    }

    void keep(const std::string& input) {
        if (pool_.size() < kLargestPool) pool_.push_back(input);
    }

  private:
    std::size_t below(std::size_t limit) { return random_() % limit; }
    const std::string& pick(const std::vector<std::string>& some) { return some[below(some.size())]; }

    void mutate(std::string& input) {
        const std::size_t at = below(input.size() + 1);
        const std::size_t stretch = below(std::size_t{1} << below(12)) + 1;  // short ones more often
        const std::string& word = pick(words_);
        const std::string& other = pick(pool_);
        switch (below(8)) {
            case 0:
                input.replace(at, 1, 1, static_cast<char>(random_()));
                break;
            case 1:
                if (at < input.size()) input[at] = static_cast<char>(input[at] ^ 1 << below(8));
                break;
            case 2:
                if (at < input.size())
                    input[at] = static_cast<char>(input[at] + static_cast<int>(below(33)) - 16);
                break;
            case 3:
                input.erase(at, stretch);
                break;
            case 4:
                input.insert(at, word);
                break;
            case 5:
                input.replace(at, word.size(), word);
                break;
            case 6:  // the beginning of this one, the end of another one
                input.replace(at, std::string::npos, other, below(other.size() + 1));
                break;
            default:  // one stretch again and again
                const std::string block = input.substr(at, stretch);
                for (std::size_t times = below(std::size_t{1} << below(8)); times > 0; --times)
                    input.insert(at, block);
                input.resize(std::min(input.size(), kLongestInput));
        }
    }

    std::vector<std::string> pool_;
    std::vector<std::string> words_;
    std::mt19937_64 random_;
};

struct Options {
    std::size_t inputs = 1000;
    long seconds = 0;  ///< Instead of a number of inputs.
    std::uint64_t seed = 1;
    const char* replay = nullptr;
};

/// What the process that reads leaves behind for the one that watches it.
struct Shared {
    std::size_t tried;
    std::size_t size;
    char input[kLongestInput];
};

void try_one(const Target& target, const std::string& input, Shared& shared) {
    shared.size = input.copy(shared.input, sizeof shared.input);
    ++shared.tried;
    // Of its own size, so that a read beyond its end is seen.
    const std::vector<std::uint8_t> bytes(shared.input, shared.input + shared.size);
    alarm(kSecondsPerInput);
    seen_new = false;
    watching = true;
    target.read(bytes.data(), bytes.size());
    watching = false;
    alarm(0);
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    if (static_cast<rlim_t>(used.ru_maxrss) * 1024 > kMostMemory) std::abort();
}

void run(const Target& target, const Options& options, Shared& shared) {
    using Clock = std::chrono::steady_clock;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
#ifndef __SANITIZE_ADDRESS__  // which reserves far more than it uses
    const rlimit memory{kMostMemory, kMostMemory};
    setrlimit(RLIMIT_AS, &memory);
#endif
    if (options.replay != nullptr) {
        std::ifstream file(options.replay, std::ios::binary);
        return try_one(target, {std::istreambuf_iterator<char>(file), {}}, shared);
    }
    for (const std::string& seed : target.seeds)
        try_one(target, seed, shared);
    Mutator mutator(target, options.seed);
    const auto end = Clock::now() + std::chrono::seconds(options.seconds);
    while (options.seconds > 0 ? Clock::now() < end : shared.tried < options.inputs) {
        const std::string input = mutator.next();
        try_one(target, input, shared);
        if (seen_new) mutator.keep(input);
    }
}

/// True when the reader took everything.
bool watch(const Target& target, const Options& options) {
    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return false;
    auto& shared = *static_cast<Shared*>(memory);
    const pid_t reader = fork();
    if (reader == 0) {
        run(target, options, shared);
        std::exit(0);  // leaks are looked for
    }
    int status = 0;
    waitpid(reader, &status, 0);
    std::printf("%-12s %8zu inputs\n", target.name, shared.tried);
    if (status != 0) {
        const std::string name = std::string("fuzz-") + target.name + ".input";
        std::ofstream(name, std::ios::binary).write(shared.input, static_cast<std::streamsize>(shared.size));
        std::printf("%-12s FAILED (status %x), the input is in %s\n", target.name,
                    static_cast<unsigned>(status), name.c_str());
    }
    std::fflush(stdout);
    munmap(memory, sizeof(Shared));
    return status == 0;
}

}  // namespace

extern "C" const char* __asan_default_options() {
    return "max_allocation_size_mb=512";
}

int main(int argc, char** argv) {
    Options options;
    for (int option = 0; (option = getopt(argc, argv, "n:t:s:i:")) != -1;) {
        if (option == '?') return 2;
        if (option == 'n') options.inputs = std::strtoul(optarg, nullptr, 10);
        if (option == 't') options.seconds = std::strtol(optarg, nullptr, 10);
        if (option == 's') options.seed = std::strtoul(optarg, nullptr, 10);
        if (option == 'i') options.replay = optarg;
    }
    const std::string wanted = optind < argc ? argv[optind] : "";
    std::string home = fs::exists("/dev/shm") ? "/dev/shm/zel-fuzz-XXXXXX" : "/tmp/zel-fuzz-XXXXXX";
    if (mkdtemp(home.data()) == nullptr) return 2;
    setenv("ZelDir", home.c_str(), 1);
    std::size_t ran = 0;
    std::size_t failed = 0;
    for (const Target& target : targets()) {
        if (!wanted.empty() && wanted != target.name) continue;
        for (const auto& left : fs::directory_iterator(home))
            fs::remove_all(left);
        ++ran;
        failed += watch(target, options) ? 0 : 1;
    }
    fs::remove_all(home);
    std::printf("%zu readers, %zu failed (seed %llu)\n", ran, failed,
                static_cast<unsigned long long>(options.seed));
    return ran == 0 || failed > 0 ? 1 : 0;
}
