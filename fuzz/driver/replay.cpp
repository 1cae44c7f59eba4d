// Stands in for a fuzzing engine where there is none: runs a target over its corpus, and then over
// a given number of mutations of it that depend on a seed only.
// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int *argc, char ***argv);

namespace {

constexpr std::size_t maximumSize = 8192;

std::string currentInput; // what the target is being run on

/// Writes the input that the target fell over to standard error, in hexadecimal digits.
void reportInput(int signalNumber)
{
    constexpr std::array<char, 17> digits {"0123456789abcdef"};
    const auto put = [](const char *text, std::size_t size) {
        if (write(STDERR_FILENO, text, size) < 0) {
            _exit(EXIT_FAILURE);
        }
    };
    const std::string_view start = "the input, for xxd -r -p: ";
    put(start.data(), start.size());
    for (const char character : currentInput) {
        const auto byte = static_cast<unsigned char>(character);
        const std::array<char, 2> pair {digits.at(byte >> 4U), digits.at(byte & 0xfU)};
        put(pair.data(), pair.size());
    }
    put("\n", 1);
    static_cast<void>(std::signal(signalNumber, SIG_DFL));
    static_cast<void>(std::raise(signalNumber));
}

void runTarget(const std::string &input)
{
    currentInput = input;
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(currentInput.data()),
                           currentInput.size());
}

std::string contentOf(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> readCorpus(const std::filesystem::path &directory)
{
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> inputs;
    inputs.reserve(paths.size());
    for (const std::filesystem::path &path : paths) {
        inputs.push_back(contentOf(path));
    }
    return inputs;
}

/// The quoted words of a dictionary in libFuzzer's form.
std::vector<std::string> readDictionary(const std::filesystem::path &path)
{
    std::ifstream file(path);
    std::vector<std::string> words;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() != '"') {
            continue;
        }
        std::string word;
        for (std::size_t i = 1; i < line.size() && line[i] != '"'; ++i) {
            if (line[i] == '\\' && i + 3 < line.size() && line[i + 1] == 'x') {
                word += static_cast<char>(std::stoi(line.substr(i + 2, 2), nullptr, 16));
                i += 3;
            } else {
                i += line[i] == '\\' ? 1 : 0;
                word += line[i];
            }
        }
        words.push_back(word);
    }
    return words;
}

class Mutator
{
public:
    Mutator(unsigned seed, std::vector<std::string> corpus, std::vector<std::string> words)
        : m_random(seed), m_corpus(std::move(corpus)), m_words(std::move(words))
    {
    }

    std::string next()
    {
        std::string input = m_corpus.empty() ? std::string() : m_corpus[below(m_corpus.size())];
        for (std::size_t changes = 1 + below(6); changes > 0; --changes) {
            change(&input);
        }
        input.resize(std::min(input.size(), maximumSize));
        return input;
    }

private:
    void change(std::string *input)
    {
        const std::size_t position = below(input->size() + 1);
        const std::size_t length = std::min(1 + below(16), input->size() - position);
        switch (below(7)) {
        case 0:
            input->insert(position, 1, static_cast<char>(below(256)));
            break;
        case 1:
            input->erase(position, length);
            break;
        case 2:
            input->replace(position, length, length, static_cast<char>(below(256)));
            break;
        case 3:
            input->insert(below(input->size() + 1), input->substr(position, length * 4));
            break;
        case 4:
            if (!m_corpus.empty()) {
                const std::string &other = m_corpus[below(m_corpus.size())];
                input->replace(position, std::string::npos, other.substr(below(other.size() + 1)));
            }
            break;
        default:
            if (!m_words.empty()) {
                input->replace(position, below(2) * length, m_words[below(m_words.size())]);
            }
        }
    }

    /// The same on every machine, which the standard's distributions are not.
    std::size_t below(std::size_t bound) { return m_random() % bound; }

    std::mt19937 m_random;
    std::vector<std::string> m_corpus;
    std::vector<std::string> m_words;
};

} // namespace

int main(int argc, char **argv)
{
    if (argc != 5) {
        std::cerr << "usage: " << argv[0] << " CORPUS DICTIONARY MUTATIONS SEED\n";
        return 2;
    }
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        static_cast<void>(std::signal(number, reportInput));
    }
    const std::vector<std::string> corpus = readCorpus(argv[1]);
    const std::vector<std::string> words = readDictionary(argv[2]);
    const unsigned long mutations = std::stoul(argv[3]);
    const auto seed = static_cast<unsigned>(std::stoul(argv[4]));
    if (corpus.empty() || words.empty()) {
        std::cerr << "the corpus or the dictionary is empty\n";
        return 1;
    }
    runTarget(std::string());
    for (const std::string &input : corpus) {
        runTarget(input);
    }
    std::cout << corpus.size() << " inputs of the corpus, then " << mutations
              << " mutations with the seed " << seed << std::endl;
    Mutator mutator(seed, corpus, words);
    for (unsigned long i = 0; i < mutations; ++i) {
        runTarget(mutator.next());
    }
    return 0;
}
