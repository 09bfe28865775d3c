// Prints the vocabulary as a libFuzzer dictionary, for the byte mutations: msl_fuzz_dictionary > msl.dict
#include "MSL/fuzz/Vocabulary.h"

#include <cstdio>
#include <set>

int main() {
    using namespace msl::fuzz;
    std::set<std::string> words;
    for (const auto& list : {keywords(), types(), functions(), constants(), attributes(), numbers(), phrases()})
        words.insert(list.begin(), list.end());
    for (const std::string& word : words) {
        if (word.empty()) continue;
        std::string line;
        for (const unsigned char c : word) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X", c);
            const bool isPlain = c >= 0x20 && c < 0x7F && c != '"' && c != '\\';
            line += isPlain ? std::string(1, static_cast<char>(c)) : hex;
        }
        std::printf("\"%s\"\n", line.c_str());
    }
}
