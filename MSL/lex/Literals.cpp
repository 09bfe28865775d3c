#include "MSL/lex/Literals.h"

#include <charconv>
#include <limits>

namespace msl {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
int hexValue(char c) {
    if (isDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

NumberLiteral fail(NumberLiteral literal, std::size_t at, std::string message) {
    literal.error = std::move(message);
    literal.errorOffset = at;
    return literal;
}

NumberLiteral readFloat(NumberLiteral literal, std::string_view digits, std::string_view suffix, std::size_t suffixAt,
                        bool isHex) {
    literal.isFloat = true;
    if (suffix == "h" || suffix == "H")
        literal.kind = ScalarKind::half;
    else if (suffix == "bf" || suffix == "BF")
        literal.kind = ScalarKind::bfloat;
    else if (!suffix.empty() && suffix != "f" && suffix != "F")
        return fail(std::move(literal), suffixAt, "invalid suffix '" + std::string(suffix) + "' on floating constant");
    std::chars_format format = isHex ? std::chars_format::hex : std::chars_format::general;
    const char* end = digits.data() + digits.size();
    double wide = 0;
    float narrow = 0;
    const bool isNarrow = literal.kind != ScalarKind::float_;
    std::from_chars_result result = isNarrow ? std::from_chars(digits.data(), end, wide, format)
                                             : std::from_chars(digits.data(), end, narrow, format);
    if (result.ec == std::errc::result_out_of_range) {
        // Too large or too small; which one shows in double precision, or in the exponent's sign.
        double value = 0;
        std::from_chars_result again = std::from_chars(digits.data(), end, value, format);
        std::size_t exponent = digits.find_first_of(isHex ? "pP" : "eE");
        bool isSmall = again.ec == std::errc() ? value < 1
                                               : exponent != std::string_view::npos && exponent + 1 < digits.size() &&
                                                     digits[exponent + 1] == '-';
        literal.isTooLarge = !isSmall;
        literal.floating = isSmall ? 0 : std::numeric_limits<double>::infinity();
        return literal;
    }
    literal.floating = isNarrow ? wide : static_cast<double>(narrow);
    return literal;
}

NumberLiteral readInteger(NumberLiteral literal, std::string_view spelling, std::string_view digits, unsigned base,
                          std::string_view suffix, std::size_t suffixAt) {
    unsigned uCount = 0;
    unsigned lCount = 0;
    for (char c : suffix) {
        if (c == 'u' || c == 'U')
            ++uCount;
        else if (c == 'l' || c == 'L')
            ++lCount;
        else
            uCount = 9;
    }
    if (uCount > 1 || lCount > 2)
        return fail(std::move(literal), suffixAt, "invalid suffix '" + std::string(suffix) + "' on integer constant");
    literal.isUnsigned = uCount == 1;
    literal.isLong = lCount > 0;
    literal.isDecimal = base == 10;
    std::uint64_t value = 0;
    bool overflow = false;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        char c = digits[i];
        auto digit = static_cast<unsigned>(hexValue(c));
        if (digit >= base)
            return fail(std::move(literal), static_cast<std::size_t>(digits.data() - spelling.data()) + i,
                        std::string("invalid digit '") + c + "' in " +
                            (base == 8   ? "octal"
                             : base == 2 ? "binary"
                                         : "decimal") +
                            " constant");
        overflow |= value > (std::numeric_limits<std::uint64_t>::max() - digit) / base;
        value = value * base + digit;
    }
    literal.integer = value;
    if (overflow)
        return fail(std::move(literal), 0, "integer literal is too large to be represented in any integer type");
    return literal;
}

} // namespace

NumberLiteral readNumber(std::string_view spelling) {
    NumberLiteral literal;
    std::string joined;
    std::string_view s = spelling;
    if (s.find('\'') != std::string_view::npos) { // digit separators
        for (char c : s)
            if (c != '\'') joined += c;
        s = joined;
    }
    if (s.starts_with("inf") || s.starts_with("nan")) { // only from predefined macros
        literal.isFloat = true;
        if (s.ends_with('h')) literal.kind = ScalarKind::half;
        literal.floating =
            s[0] == 'i' ? std::numeric_limits<double>::infinity() : std::numeric_limits<double>::quiet_NaN();
        return literal;
    }
    bool isHex = s.size() > 1 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    bool isBinary = s.size() > 1 && s[0] == '0' && (s[1] == 'b' || s[1] == 'B');
    std::size_t begin = isHex || isBinary ? 2 : 0;
    std::size_t i = begin;
    bool isFloat = false;
    auto isBodyDigit = [&](char c) { return isHex ? hexValue(c) >= 0 : isDigit(c); };
    std::size_t digitCount = 0;
    while (i < s.size() && isBodyDigit(s[i]))
        ++i, ++digitCount;
    if (i < s.size() && s[i] == '.' && !isBinary) {
        isFloat = true;
        ++i;
        while (i < s.size() && isBodyDigit(s[i]))
            ++i, ++digitCount;
    }
    if ((isHex || isBinary) && digitCount == 0)
        return fail(std::move(literal), 1, "invalid suffix '" + std::string(s.substr(1)) + "' on integer constant");
    bool hasExponent = false;
    if (i < s.size() && !isBinary && (isHex ? (s[i] == 'p' || s[i] == 'P') : (s[i] == 'e' || s[i] == 'E'))) {
        std::size_t digits = i + 1;
        if (digits < s.size() && (s[digits] == '+' || s[digits] == '-')) ++digits;
        if (digits >= s.size() || !isDigit(s[digits])) return fail(std::move(literal), i, "exponent has no digits");
        hasExponent = isFloat = true;
        i = digits;
        while (i < s.size() && isDigit(s[i]))
            ++i;
    }
    std::string_view suffix = s.substr(i);
    if (isFloat) {
        if (isHex && !hasExponent)
            return fail(std::move(literal), 0, "hexadecimal floating constant requires an exponent");
        return readFloat(std::move(literal), s.substr(begin, i - begin), suffix, i, isHex);
    }
    unsigned base = isHex ? 16 : isBinary ? 2 : s.size() > 1 && s[0] == '0' && i > 1 ? 8 : 10;
    return readInteger(std::move(literal), s, s.substr(begin, i - begin), base, suffix, i);
}

namespace {

// One character or escape at spelling[i], which moves behind it.
std::uint32_t readEscaped(std::string_view s, std::size_t& i) {
    char c = s[i++];
    if (c != '\\' || i >= s.size()) return static_cast<unsigned char>(c);
    c = s[i++];
    switch (c) {
    case 'n': return '\n';
    case 't': return '\t';
    case 'r': return '\r';
    case 'a': return '\a';
    case 'b': return '\b';
    case 'f': return '\f';
    case 'v': return '\v';
    case 'x': {
        std::uint32_t value = 0;
        while (i < s.size() && hexValue(s[i]) >= 0)
            value = (value << 4) | static_cast<std::uint32_t>(hexValue(s[i++]));
        return value & 0xFF;
    }
    default: break;
    }
    if (c >= '0' && c <= '7') {
        std::uint32_t value = static_cast<std::uint32_t>(c - '0');
        for (int n = 0; n < 2 && i < s.size() && s[i] >= '0' && s[i] <= '7'; ++n)
            value = value * 8 + static_cast<std::uint32_t>(s[i++] - '0');
        return value & 0xFF;
    }
    return static_cast<unsigned char>(c);
}

} // namespace

CharacterLiteral readCharacter(std::string_view spelling) {
    CharacterLiteral literal;
    std::string_view body = spelling.size() >= 2 ? spelling.substr(1, spelling.size() - 2) : std::string_view();
    if (body.empty()) {
        literal.error = "empty character constant";
        return literal;
    }
    std::size_t i = 0;
    literal.value = readEscaped(body, i);
    if (i < body.size()) literal.error = "character constant with more than one character is not supported here";
    return literal;
}

std::string readString(std::string_view spelling) {
    std::string text;
    std::string_view body = spelling.size() >= 2 ? spelling.substr(1, spelling.size() - 2) : std::string_view();
    for (std::size_t i = 0; i < body.size();)
        text += static_cast<char>(readEscaped(body, i));
    return text;
}

} // namespace msl
