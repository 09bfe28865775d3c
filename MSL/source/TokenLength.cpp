#include "MSL/source/TokenLength.h"

#include "MSL/source/Utf8.h"

#include <algorithm>

namespace msl {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isWordByte(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || isDigit(c);
}

std::size_t wordLength(std::string_view line) {
    std::size_t length = 0;
    while (length < line.size()) {
        if (isWordByte(line[length])) {
            ++length;
            continue;
        }
        const DecodedCharacter c = decodeUtf8(line, length);
        if (c.length < 2 || !c.isValid || !isIdentifierCharacter(c.value)) break;
        length += c.length;
    }
    return length;
}

std::size_t numberLength(std::string_view line) {
    const bool isHexadecimal = line.starts_with("0x") || line.starts_with("0X");
    const std::string_view exponents = isHexadecimal ? "pP" : "eE";
    std::size_t length = 0;
    while (length < line.size()) {
        const char c = line[length];
        const bool isSign = (c == '+' || c == '-') && length > 0 && exponents.contains(line[length - 1]);
        const bool isSeparator = c == '\'' && length + 1 < line.size() && isWordByte(line[length + 1]);
        if (!isWordByte(c) && c != '.' && !isSign && !isSeparator) break;
        ++length;
    }
    return length;
}

std::size_t quotedLength(std::string_view line) {
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '\\')
            ++i;
        else if (line[i] == line[0])
            return i + 1;
    }
    return line.size();
}

std::size_t operatorLength(std::string_view line) {
    // In the order of their lengths.
    static constexpr std::string_view operators[] = {"<<=", ">>=", "...", "->*", "::", ".*", "->", "++", "--",
                                                     "<<",  ">>",  "<=",  ">=",  "==", "!=", "&&", "||", "+=",
                                                     "-=",  "*=",  "/=",  "%=",  "&=", "|=", "^=", "##"};
    for (const std::string_view each : operators)
        if (line.starts_with(each)) return each.size();
    return decodeUtf8(line, 0).length;
}

} // namespace

std::uint32_t tokenLength(std::string_view line) {
    if (line.empty() || line[0] == ' ' || line[0] == '\t' || line.starts_with("//") || line.starts_with("/*")) return 0;
    std::size_t length = 0;
    if (isDigit(line[0]) || (line[0] == '.' && line.size() > 1 && isDigit(line[1])))
        length = numberLength(line);
    else if (line[0] == '"' || line[0] == '\'')
        length = quotedLength(line);
    else
        length = wordLength(line);
    return static_cast<std::uint32_t>(length > 0 ? length : operatorLength(line));
}

} // namespace msl
