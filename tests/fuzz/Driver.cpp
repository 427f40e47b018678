// Runs a fuzz target where libFuzzer is not at hand: mutates the files of a corpus for some seconds and hands
// each result to the target. The first fault ends the program and leaves the input that showed it in
// "fault-input".
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(
    void (*callback)()); // there when one is built in

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Input = std::vector<std::uint8_t>;

constexpr std::size_t kLongestInput = 1U << 20;
constexpr std::string_view kTokens[] = {"[",       "]",    "{",       "}",     ",",
                                        ":",       "\"",   "\\u0000", "-0",    "1e309",
                                        "null",    "true", "5e-324",  "1e999", "\xEF\xBB\xBF",
                                        "\\ud800", "\xff", "Infinity"};

class Mutator {
  public:
    Mutator(const std::vector<Input>& corpus, std::uint64_t seed) : corpus_(corpus), random_(seed) {}

    Input next() {
        Input input = corpus_[below(corpus_.size())];
        for (std::size_t changes = 1 + below(6); changes > 0; --changes) change(input);
        if (input.size() > kLongestInput) input.resize(kLongestInput);
        return input;
    }

  private:
    std::size_t below(std::size_t end) { return end == 0 ? 0 : random_() % end; }
    auto at(Input& input) { return input.begin() + static_cast<std::ptrdiff_t>(below(input.size())); }

    void change(Input& input) {
        if (input.empty()) return insert(input, token());
        switch (below(7)) {
            case 0:
                *at(input) ^= static_cast<std::uint8_t>(1U << below(8));
                break;
            case 1:
                *at(input) = static_cast<std::uint8_t>(random_());
                break;
            case 2:
                input.resize(below(input.size()));
                break;
            case 3:
                input.erase(at(input));
                break;
            case 4:
                insert(input, token());
                break;
            case 5:
                insert(input, pieceOf(input));
                break;
            case 6:
                insert(input, pieceOf(corpus_[below(corpus_.size())]));
                break;
        }
    }

    void insert(Input& input, const Input& piece) { input.insert(at(input), piece.begin(), piece.end()); }

    Input token() {
        const auto text = kTokens[below(std::size(kTokens))];
        Input repeated;
        for (std::size_t times = below(8) == 0 ? 2000 : 1; times > 0; --times) {
            repeated.insert(repeated.end(), text.begin(), text.end());
        }
        return repeated;
    }

    Input pieceOf(const Input& whole) {
        const std::size_t start = below(whole.size());
        const std::size_t end = start + below(std::min<std::size_t>(whole.size() - start, 256) + 1);
        return {whole.begin() + static_cast<std::ptrdiff_t>(start),
                whole.begin() + static_cast<std::ptrdiff_t>(end)};
    }

    const std::vector<Input>& corpus_;
    std::mt19937_64 random_;
};

Input contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return Input(std::istreambuf_iterator<char>(stream), {});
}

std::vector<Input> readCorpus(const fs::path& folder) {
    std::vector<Input> corpus;
    for (const auto& entry : fs::directory_iterator(folder)) corpus.push_back(contentOf(entry.path()));
    return corpus;
}

const Input* inputBeingRun = nullptr;

void keepInput() {
    if (!inputBeingRun) return;
    std::ofstream("fault-input", std::ios::binary)
        .write(reinterpret_cast<const char*>(inputBeingRun->data()), std::ssize(*inputBeingRun));
    std::fputs("the input is kept in fault-input\n", stderr);
}

// A target aborts when it finds a wrong answer; a sanitizer ends the program by itself.
void keepInputOnFault() {
    std::signal(SIGABRT, [](int) { keepInput(); });
    if (__sanitizer_set_death_callback) __sanitizer_set_death_callback(keepInput);
}

void run(const Input& input) {
    inputBeingRun = &input;
    LLVMFuzzerTestOneInput(input.data(), input.size());
    inputBeingRun = nullptr;
}

} // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 0;
    if (seconds <= 0) {
        std::fprintf(stderr, "usage: %s SECONDS [FOLDER]   the folder holds the files to mutate\n", argv[0]);
        return 2;
    }
    keepInputOnFault();
    const auto corpus = readCorpus(argc > 2 ? argv[2] : FUZZ_CORPUS);
    for (const Input& input : corpus) run(input);
    const auto seed = std::random_device()();
    Mutator mutator(corpus, seed);
    long long runs = 0;
    for (const auto end = Clock::now() + std::chrono::seconds(seconds); Clock::now() < end; ++runs) {
        run(mutator.next());
    }
    std::printf("%lld inputs from %zu files, seed %u\n", runs, corpus.size(), seed);
    return 0;
}
