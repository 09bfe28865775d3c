// What a fuzzer says when something is not as it must be: libFuzzer reports it with the input that caused it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace glasshob::fuzz {

inline void expect(bool isSo, const std::string& what) {
    if (isSo) return;
    std::fprintf(stderr, "finding: %s\n", what.c_str());
    std::abort();
}

} // namespace glasshob::fuzz
