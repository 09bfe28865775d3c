#include "MSL/lex/Identifier.h"

#include "MSL/lex/PredefinedMacros.h"
#include "MSL/lex/Token.h"

#include <array>
#include <bit>
#include <cstring>
#include <iterator>

namespace msl {

namespace {

struct Keyword {
    std::string_view text;
    TokenKind kind;
};

constexpr Keyword keywords[] = {
    // operators spelled as words
    {"and", TokenKind::ampamp},
    {"and_eq", TokenKind::ampEqual},
    {"bitand", TokenKind::amp},
    {"bitor", TokenKind::pipe},
    {"compl", TokenKind::tilde},
    {"not", TokenKind::exclaim},
    {"not_eq", TokenKind::exclaimEqual},
    {"or", TokenKind::pipepipe},
    {"or_eq", TokenKind::pipeEqual},
    {"xor", TokenKind::caret},
    {"xor_eq", TokenKind::caretEqual},
    // keywords
    {"alignas", TokenKind::kwAlignas},
    {"alignof", TokenKind::kwAlignof},
    {"asm", TokenKind::kwAsm},
    {"__asm__", TokenKind::kwAsm},
    {"__attribute__", TokenKind::kwAttribute},
    {"auto", TokenKind::kwAuto},
    {"break", TokenKind::kwBreak},
    {"case", TokenKind::kwCase},
    {"catch", TokenKind::kwCatch},
    {"class", TokenKind::kwClass},
    {"const", TokenKind::kwConst},
    {"const_cast", TokenKind::kwConstCast},
    {"constant", TokenKind::kwConstant},
    {"constexpr", TokenKind::kwConstexpr},
    {"continue", TokenKind::kwContinue},
    {"decltype", TokenKind::kwDecltype},
    {"default", TokenKind::kwDefault},
    {"delete", TokenKind::kwDelete},
    {"device", TokenKind::kwDevice},
    {"do", TokenKind::kwDo},
    {"double", TokenKind::kwDouble},
    {"dynamic_cast", TokenKind::kwDynamicCast},
    {"else", TokenKind::kwElse},
    {"enum", TokenKind::kwEnum},
    {"explicit", TokenKind::kwExplicit},
    {"extern", TokenKind::kwExtern},
    {"false", TokenKind::kwFalse},
    {"for", TokenKind::kwFor},
    {"fragment", TokenKind::kwFragment},
    {"friend", TokenKind::kwFriend},
    {"goto", TokenKind::kwGoto},
    {"if", TokenKind::kwIf},
    {"inline", TokenKind::kwInline},
    {"__inline__", TokenKind::kwInline},
    {"kernel", TokenKind::kwKernel},
    {"mutable", TokenKind::kwMutable},
    {"namespace", TokenKind::kwNamespace},
    {"new", TokenKind::kwNew},
    {"noexcept", TokenKind::kwNoexcept},
    {"nullptr", TokenKind::kwNullptr},
    {"operator", TokenKind::kwOperator},
    {"private", TokenKind::kwPrivate},
    {"protected", TokenKind::kwProtected},
    {"public", TokenKind::kwPublic},
    {"reinterpret_cast", TokenKind::kwReinterpretCast},
    {"__restrict", TokenKind::kwRestrict},
    {"__restrict__", TokenKind::kwRestrict},
    {"restrict", TokenKind::kwRestrict},
    {"return", TokenKind::kwReturn},
    {"signed", TokenKind::kwSigned},
    {"sizeof", TokenKind::kwSizeof},
    {"static", TokenKind::kwStatic},
    {"static_assert", TokenKind::kwStaticAssert},
    {"_Static_assert", TokenKind::kwStaticAssert},
    {"static_cast", TokenKind::kwStaticCast},
    {"struct", TokenKind::kwStruct},
    {"switch", TokenKind::kwSwitch},
    {"template", TokenKind::kwTemplate},
    {"this", TokenKind::kwThis},
    {"thread", TokenKind::kwThread},
    {"threadgroup", TokenKind::kwThreadgroup},
    {"throw", TokenKind::kwThrow},
    {"true", TokenKind::kwTrue},
    {"try", TokenKind::kwTry},
    {"typedef", TokenKind::kwTypedef},
    {"typename", TokenKind::kwTypename},
    {"union", TokenKind::kwUnion},
    {"unsigned", TokenKind::kwUnsigned},
    {"using", TokenKind::kwUsing},
    {"vertex", TokenKind::kwVertex},
    {"virtual", TokenKind::kwVirtual},
    {"volatile", TokenKind::kwVolatile},
    {"while", TokenKind::kwWhile},
};

static_assert(std::endian::native == std::endian::little); // both ways of wordOf() give the same

// Up to eight letters as a number, the first one lowest.
constexpr std::uint64_t wordOf(const char* letters, std::size_t count) {
    std::uint64_t word = 0;
    if consteval {
        for (std::size_t i = 0; i < count; ++i)
            word |= std::uint64_t{static_cast<unsigned char>(letters[i])} << 8 * i;
    } else {
        std::memcpy(&word, letters, count);
    }
    return word;
}

constexpr std::uint32_t hashOf(std::string_view text) {
    std::uint64_t h = 0x9E3779B97F4A7C15ULL ^ text.size();
    const char* at = text.data();
    std::size_t left = text.size();
    const auto mix = [&](std::uint64_t word) {
        h = (h ^ word) * 0xD6E8FEB86659FD93ULL;
        h ^= h >> 32;
    };
    for (; left >= 8; at += 8, left -= 8)
        mix(wordOf(at, 8));
    mix(wordOf(at, left));
    return static_cast<std::uint32_t>(h ^ (h >> 29));
}

constexpr auto keywordHashes = [] {
    std::array<std::uint32_t, std::size(keywords)> hashes;
    for (std::size_t i = 0; i < hashes.size(); ++i)
        hashes[i] = hashOf(keywords[i].text);
    return hashes;
}();

} // namespace

IdentifierTable::IdentifierTable(Arena& arena) : arena_(arena), slots_(512, nullptr) {
    all_.reserve(256);
    for (std::size_t i = 0; i < std::size(keywords); ++i)
        add(keywords[i].text, keywordHashes[i])->keyword = static_cast<std::uint16_t>(keywords[i].kind);
}

Identifier* IdentifierTable::getMutable(std::string_view text) {
    std::uint32_t hash = hashOf(text);
    std::size_t mask = slots_.size() - 1;
    std::size_t i = hash & mask;
    while (Identifier* found = slots_[i]) {
        if (found->hash == hash && found->text == text) return found;
        i = (i + 1) & mask;
    }
    Identifier* made = add(arena_.copyText(text), hash);
    made->isMacro = isPredefinedMacro(text);
    return made;
}

// `text` lives as long as the table and is not in it.
Identifier* IdentifierTable::add(std::string_view text, std::uint32_t hash) {
    if ((all_.size() + 1) * 2 > slots_.size()) grow();
    auto* made = arena_.make<Identifier>();
    made->text = text;
    made->hash = hash;
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = hash & mask;
    while (slots_[i] != nullptr)
        i = (i + 1) & mask;
    slots_[i] = made;
    all_.push_back(made);
    return made;
}

const Identifier* IdentifierTable::find(std::string_view text) const {
    const std::uint32_t hash = hashOf(text);
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = hash & mask; slots_[i] != nullptr; i = (i + 1) & mask)
        if (slots_[i]->hash == hash && slots_[i]->text == text) return slots_[i];
    return nullptr;
}

void IdentifierTable::grow() {
    slots_.assign(slots_.size() * 2, nullptr);
    std::size_t mask = slots_.size() - 1;
    for (Identifier* identifier : all_) {
        std::size_t i = identifier->hash & mask;
        while (slots_[i])
            i = (i + 1) & mask;
        slots_[i] = identifier;
    }
}

} // namespace msl
