// Tokens after preprocessing: directives obeyed, macros expanded. Pulled one at a time by the parser. Includes of the
// language's own headers are no-ops, since the library is built in; other files do not exist. What a text makes it do
// is bounded: tokens produced by macros, nesting of calls and of conditions.
#pragma once

#include "MSL/lex/Lexer.h"
#include "MSL/source/SourceManager.h"

#include <span>
#include <vector>

namespace msl {

struct Macro {
    const Identifier* name = nullptr;
    std::span<const Identifier*> parameters; // with __VA_ARGS__ last when variadic
    std::span<Token> body;
    SourceLocation location; // nowhere for predefined macros
    bool isFunctionLike = false;
    bool isVariadic = false;
    bool isExpanding = false;
    bool usesParameters = false; // the body names a parameter, # or ##
    bool isLine = false;         // __LINE__
    bool isFile = false;         // __FILE__
};

class Preprocessor {
  public:
    Preprocessor(SourceManager& sources, IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics);

    // The next token; regionEnd between the regions of the text, eof for ever at its end.
    void next(Token& token);

    static constexpr std::uint64_t expansionLimit = 2'000'000; // tokens out of macros
    static constexpr std::size_t bytesPerToken = 8;            // a spelling that # or ## makes counts by its length
    static constexpr unsigned nestingLimit = 200;
    static constexpr std::size_t parameterLimit = 256; // of one macro

  private:
    // A list of tokens being read: a macro's replacement, or the tokens of an argument.
    struct Context {
        const Token* at;
        const Token* end;
        Macro* macro;            // null for an argument
        SourceLocation location; // the tokens stand here instead of where the macro was defined
        std::uint32_t endOffset;
        bool relocates;
        bool isBarrier; // an argument's own expansion ends here
        std::uint16_t firstFlags;
        bool isFirst;
    };
    struct Condition {
        SourceLocation location;
        bool wasTaken;   // some branch was
        bool isSkipping; // the present branch is not read
        bool sawElse;
    };

    // fetch: the next token without expansion; false at a barrier.
    bool fetch(Token& token);
    void nextExpanded(Token& token); // eof at a barrier
    bool expand(Token& token);       // true: a context was pushed (or an error reported), read on
    bool nextIsLeftParen();
    bool collectArguments(const Token& name, const Macro& macro, std::vector<std::vector<Token>>& arguments,
                          std::uint32_t& endOffset);
    std::span<Token> substitute(const Macro& macro, const Token& name, std::uint32_t endOffset,
                                std::vector<std::vector<Token>>& arguments);
    std::vector<Token> expandArgument(const std::vector<Token>& argument);
    Token stringify(const std::vector<Token>& argument, const Token& at);
    bool paste(Token& left, const Token& right);
    Macro* macroOf(const Identifier* identifier);
    Macro* makePredefined(Identifier& identifier);
    bool spend(const Token& at, std::uint64_t count);
    void popFinished();

    // Directives.cpp
    void directive(const Token& hash);
    void define();
    void undef();
    void include(const Token& keyword);
    void lineDirective(const Token& hash, Token first);
    void pragma(SourceLocation at, std::string_view text);
    void pragmaPack(SourceLocation at, std::string_view text);
    void pragmaOperator(const Token& keyword);
    void userMessage(const Token& keyword, bool isError);
    void conditional(const Token& keyword, std::string_view name);
    void skipExcluded();
    void closeRegion();
    void skipLine(Token& token);
    bool readMacroName(Token& token);

    // Condition.cpp
    struct Value;
    bool evaluateCondition(SourceLocation at);
    Value conditionExpression(int minimumPrecedence, unsigned depth);
    Value conditionPrimary(unsigned depth);
    void conditionNext();
    bool isKnownHeader(std::string_view name) const;

    SourceManager& sources_;
    IdentifierTable& identifiers_;
    Arena& arena_;
    Diagnostics& diagnostics_;
    Lexer lexer_;
    std::uint32_t regionEnd_ = 0;
    std::vector<Context> contexts_;
    std::vector<Condition> conditions_;
    std::uint64_t expanded_ = 0;
    unsigned argumentDepth_ = 0;
    bool budgetSpent_ = false;
    bool markNext_ = false; // the next token gets Token::afterError
    Token conditionToken_;
    Token conditionAhead_;
    bool hasConditionAhead_ = false;
    bool conditionIsShift_ = false; // conditionToken_ is the first of ">>"
    bool conditionFailed_ = false;
    struct Packing {
        std::uint16_t flags;
        std::string_view label;
    };
    std::uint16_t packingFlags_ = 0; // what "#pragma pack" says now, as Token::flags has it
    std::vector<Packing> packings_;  // pushed
    const Identifier* defined_;
    const Identifier* vaArgs_;
    const Identifier* pragma_;
};

} // namespace msl
