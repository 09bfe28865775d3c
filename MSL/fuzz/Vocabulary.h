// The words of the language for the fuzzers: keywords and operators from the lexer's table, the library's functions and
// constants from theirs, and the spellings of types, attributes and small phrases. Made on first use, then constant.
#pragma once

#include <span>
#include <string>

namespace msl::fuzz {

std::span<const std::string> keywords();   // words and operators that mean something to the lexer
std::span<const std::string> types();      // what can stand where a type stands
std::span<const std::string> functions();  // the library's functions
std::span<const std::string> constants();  // its constants and macros
std::span<const std::string> attributes(); // "[[...]]"
std::span<const std::string> numbers();    // literals at and beyond the edges
std::span<const std::string> phrases();    // statements, declarations and directives, some of them whole

} // namespace msl::fuzz
