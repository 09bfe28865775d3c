#include "MSL/lex/Preprocessor.h"

#include "MSL/lex/PredefinedMacros.h"

#include <string>

namespace msl {

Preprocessor::Preprocessor(SourceManager& sources, IdentifierTable& identifiers, Arena& arena, Diagnostics& diagnostics)
    : sources_(sources), identifiers_(identifiers), arena_(arena), diagnostics_(diagnostics),
      lexer_(sources.text(), identifiers, diagnostics), defined_(identifiers.get("defined")),
      vaArgs_(identifiers.get("__VA_ARGS__")), pragma_(identifiers.get("_Pragma")) {
    regionEnd_ = sources.regionEnd(0);
    lexer_.setRange(0, regionEnd_);
}

void Preprocessor::next(Token& token) {
    for (;;) {
        if (budgetSpent_) { // said already; what follows would only cost more
            token.kind = TokenKind::eof;
            token.flags = 0;
            return;
        }
        nextExpanded(token);
        if (token.is(TokenKind::unknown)) { // out of a macro's replacement
            diagnostics_.error(token.location, "unexpected '" + std::string(spelling(token)) + "' in program");
            markNext_ = true;
            continue;
        }
        if (token.isWord() && token.identifier == pragma_) {
            pragmaOperator(token);
            continue;
        }
        if (markNext_) {
            token.flags |= Token::afterError;
            markNext_ = false;
        }
        token.flags |= packingFlags_;
        if (!token.is(TokenKind::eof)) return;
        closeRegion();
        if (regionEnd_ >= sources_.text().size()) return;
        token.kind = TokenKind::regionEnd;
        std::uint32_t begin = regionEnd_;
        regionEnd_ = sources_.regionEnd(begin);
        lexer_.setRange(begin, regionEnd_);
        return;
    }
}

void Preprocessor::popFinished() {
    while (!contexts_.empty() && contexts_.back().at == contexts_.back().end && !contexts_.back().isBarrier) {
        if (contexts_.back().macro) contexts_.back().macro->isExpanding = false;
        contexts_.pop_back();
    }
}

bool Preprocessor::fetch(Token& token) {
    popFinished();
    if (!contexts_.empty()) {
        Context& context = contexts_.back();
        if (context.at == context.end) return false;
        token = *context.at++;
        if (context.relocates) {
            token.location = context.location;
            token.end = context.endOffset;
            token.flags |= Token::fromMacro;
        }
        if (context.isFirst) {
            constexpr auto spacing = static_cast<std::uint16_t>(Token::startOfLine | Token::leadingSpace);
            token.flags = static_cast<std::uint16_t>((token.flags & ~spacing) | (context.firstFlags & spacing));
            context.isFirst = false;
        }
        return true;
    }
    for (;;) {
        lexer_.next(token);
        if (token.is(TokenKind::hash) && token.has(Token::startOfLine) && !lexer_.inDirective()) {
            directive(token);
            continue;
        }
        return true;
    }
}

void Preprocessor::nextExpanded(Token& token) {
    for (;;) {
        if (!fetch(token)) {
            token.kind = TokenKind::eof;
            return;
        }
        if (!token.isWord() || !token.identifier->isMacro || token.has(Token::noExpand)) return;
        if (!expand(token)) return;
    }
}

Macro* Preprocessor::macroOf(const Identifier* identifier) {
    return identifier->macro ? identifier->macro : makePredefined(*identifiers_.getMutable(identifier->text));
}

Macro* Preprocessor::makePredefined(Identifier& identifier) {
    auto* macro = arena_.make<Macro>();
    macro->name = &identifier;
    identifier.macro = macro;
    std::string_view text = predefinedMacroText(identifier.text);
    macro->isLine = identifier.text == "__LINE__";
    macro->isFile = identifier.text == "__FILE__";
    std::vector<Token> body;
    if (text.starts_with("inf") || text.starts_with("nan")) {
        Token token;
        token.kind = TokenKind::number;
        token.spelling = text.data();
        token.length = static_cast<std::uint32_t>(text.size());
        body.push_back(token);
    } else if (!text.empty()) {
        Lexer lexer(text, identifiers_, diagnostics_);
        lexer.setRange(0, static_cast<std::uint32_t>(text.size()));
        Token token;
        for (lexer.next(token); !token.is(TokenKind::eof); lexer.next(token)) {
            token.flags &= static_cast<std::uint16_t>(~Token::startOfLine);
            body.push_back(token);
        }
    }
    macro->body = arena_.copy(body);
    return macro;
}

// Counts tokens that macros produce; once the budget is spent nothing is expanded any more.
bool Preprocessor::spend(const Token& at, std::uint64_t count) {
    expanded_ += count;
    if (expanded_ <= expansionLimit && contexts_.size() < nestingLimit * 4) return true;
    if (!budgetSpent_) diagnostics_.error(at.location, "macro expansion produces too many tokens");
    budgetSpent_ = true;
    return false;
}

bool Preprocessor::nextIsLeftParen() {
    for (auto context = contexts_.rbegin(); context != contexts_.rend(); ++context) {
        if (context->at != context->end) return context->at->is(TokenKind::leftParen);
        if (context->isBarrier) return false;
    }
    return lexer_.leftParenFollows();
}

bool Preprocessor::expand(Token& name) {
    Macro& macro = *macroOf(name.identifier);
    if (budgetSpent_) return false;
    if (macro.isExpanding) {
        name.flags |= Token::noExpand;
        return false;
    }
    if (macro.isLine || macro.isFile) {
        std::string text = macro.isLine ? std::to_string(sources_.macroLine(name.location))
                                        : '"' + std::string(sources_.presumed(name.location).file) + '"';
        std::string_view kept = arena_.copyText(text);
        name.kind = macro.isLine ? TokenKind::number : TokenKind::string;
        name.spelling = kept.data();
        name.length = static_cast<std::uint32_t>(kept.size());
        name.flags |= Token::fromMacro;
        return false;
    }

    std::span<Token> tokens = macro.body;
    std::uint32_t endOffset = name.end;
    bool relocates = true;
    if (macro.isFunctionLike) {
        if (!nextIsLeftParen()) return false;
        std::vector<std::vector<Token>> arguments;
        if (!collectArguments(name, macro, arguments, endOffset)) {
            markNext_ = true; // reported; the call vanishes
            return true;
        }
        if (macro.usesParameters) {
            tokens = substitute(macro, name, endOffset, arguments);
            relocates = false;
        }
    } else if (macro.usesParameters) { // ## in an object-like macro
        std::vector<std::vector<Token>> none;
        tokens = substitute(macro, name, endOffset, none);
        relocates = false;
    }
    // What holds the name is not left yet, even if this was its last token: "#define A B", "#define B A" must end.
    if (!spend(name, tokens.size() + 1)) return true;
    if (tokens.empty()) return true;
    macro.isExpanding = true;
    contexts_.push_back({tokens.data(), tokens.data() + tokens.size(), &macro, name.location, endOffset, relocates,
                         false, name.flags, true});
    return true;
}

// Reads "(a, b)" behind a macro's name. A region's end inside reports the call as unterminated.
bool Preprocessor::collectArguments(const Token& name, const Macro& macro, std::vector<std::vector<Token>>& arguments,
                                    std::uint32_t& endOffset) {
    Token token;
    fetch(token); // the parenthesis
    unsigned depth = 0;
    std::size_t wanted = macro.parameters.size();
    arguments.emplace_back();
    for (;;) {
        if (!fetch(token) || token.is(TokenKind::eof) || token.is(TokenKind::endOfDirective)) {
            diagnostics_.error(name.location, "unterminated function-like macro invocation");
            if (macro.location)
                diagnostics_.note(macro.location, "macro '" + std::string(macro.name->text) + "' defined here");
            return false;
        }
        if (!spend(token, 1)) return false;
        if (token.is(TokenKind::leftParen)) {
            ++depth;
        } else if (token.is(TokenKind::rightParen)) {
            if (depth-- == 0) break;
        } else if (token.is(TokenKind::comma) && depth == 0 && !(macro.isVariadic && arguments.size() == wanted)) {
            arguments.emplace_back();
            continue;
        }
        if (token.isWord() && token.identifier->isMacro && macroOf(token.identifier)->isExpanding)
            token.flags |= Token::noExpand;
        if (token.has(Token::startOfLine)) // a call over several lines reads as one
            token.flags = static_cast<std::uint16_t>((token.flags & ~Token::startOfLine) | Token::leadingSpace);
        arguments.back().push_back(token);
    }
    endOffset = token.end;
    if (wanted == 0 && arguments.size() == 1 && arguments[0].empty()) arguments.clear();
    if (macro.isVariadic && arguments.size() + 1 == wanted) arguments.emplace_back();
    if (arguments.size() == wanted) return true;
    diagnostics_.error(name.location, arguments.size() < wanted
                                          ? "too few arguments provided to function-like macro invocation"
                                          : "too many arguments provided to function-like macro invocation");
    if (macro.location) diagnostics_.note(macro.location, "macro '" + std::string(macro.name->text) + "' defined here");
    return false;
}

std::vector<Token> Preprocessor::expandArgument(const std::vector<Token>& argument) {
    std::vector<Token> out;
    bool hasMacro = false;
    for (const Token& token : argument)
        hasMacro |= token.isWord() && token.identifier->isMacro && !token.has(Token::noExpand);
    if (!hasMacro) return argument;
    if (argumentDepth_ >= nestingLimit) {
        spend(argument.front(), expansionLimit);
        return argument;
    }
    ++argumentDepth_;
    contexts_.push_back({argument.data(), argument.data() + argument.size(), nullptr, {}, 0, false, true, 0, false});
    Token token;
    for (nextExpanded(token); !token.is(TokenKind::eof); nextExpanded(token)) {
        out.push_back(token);
        if (!spend(token, 1)) break;
    }
    while (!contexts_.back().isBarrier) { // only when the budget ran out half-way
        if (contexts_.back().macro) contexts_.back().macro->isExpanding = false;
        contexts_.pop_back();
    }
    contexts_.pop_back();
    --argumentDepth_;
    return out;
}

Token Preprocessor::stringify(const std::vector<Token>& argument, const Token& at) {
    std::string text = "\"";
    for (std::size_t i = 0; i < argument.size(); ++i) {
        if (i > 0 && argument[i].has(Token::leadingSpace)) text += ' ';
        std::string_view piece = spelling(argument[i]);
        if (!spend(at, piece.size() / bytesPerToken)) break;
        bool isQuoted = argument[i].is(TokenKind::string) || argument[i].is(TokenKind::character);
        for (char c : piece) {
            if (isQuoted && (c == '"' || c == '\\')) text += '\\';
            text += c;
        }
    }
    text += '"';
    std::string_view kept = arena_.copyText(text);
    Token token = at;
    token.kind = TokenKind::string;
    token.spelling = kept.data();
    token.length = static_cast<std::uint32_t>(kept.size());
    return token;
}

// left ## right: both spellings side by side must be one token.
bool Preprocessor::paste(Token& left, const Token& right) {
    std::string joined = std::string(spelling(left)) + std::string(spelling(right));
    if (!spend(left, 1 + joined.size() / bytesPerToken)) return false;
    std::string_view kept = arena_.copyText(joined);
    Lexer lexer(kept, identifiers_, diagnostics_);
    lexer.setQuiet(true);
    lexer.setRange(0, static_cast<std::uint32_t>(kept.size()));
    Token made;
    Token after;
    lexer.next(made);
    lexer.next(after);
    if (made.is(TokenKind::unknown) || made.is(TokenKind::eof) || !after.is(TokenKind::eof)) {
        diagnostics_.error(left.location, "pasting formed '" + joined + "', an invalid preprocessing token");
        return false;
    }
    made.location = left.location;
    made.end = left.end;
    made.flags = left.flags;
    left = made;
    return true;
}

std::span<Token> Preprocessor::substitute(const Macro& macro, const Token& name, std::uint32_t endOffset,
                                          std::vector<std::vector<Token>>& arguments) {
    std::vector<Token> out;
    std::vector<std::vector<Token>> expanded(arguments.size());
    std::vector<bool> isExpanded(arguments.size(), false);
    auto parameterIndex = [&](const Token& token) -> std::size_t {
        if (token.isWord())
            for (std::size_t i = 0; i < macro.parameters.size(); ++i)
                if (macro.parameters[i] == token.identifier) return i;
        return arguments.size();
    };
    bool pasteNext = false;
    for (std::size_t i = 0; i < macro.body.size() && !budgetSpent_; ++i) {
        Token token = macro.body[i];
        token.location = name.location;
        token.end = endOffset;
        token.flags |= Token::fromMacro;
        if (token.is(TokenKind::hashhash) && !out.empty()) {
            pasteNext = true;
            continue;
        }
        std::vector<Token> piece;
        bool isPasteOperand = pasteNext || (i + 1 < macro.body.size() && macro.body[i + 1].is(TokenKind::hashhash));
        if (token.is(TokenKind::hash) && macro.isFunctionLike && i + 1 < macro.body.size() &&
            parameterIndex(macro.body[i + 1]) < arguments.size()) {
            piece.push_back(stringify(arguments[parameterIndex(macro.body[++i])], token));
        } else if (std::size_t index = parameterIndex(token); index < arguments.size()) {
            if (isPasteOperand) {
                piece = arguments[index];
            } else {
                if (!isExpanded[index]) {
                    expanded[index] = expandArgument(arguments[index]);
                    isExpanded[index] = true;
                }
                piece = expanded[index];
            }
            if (!piece.empty()) {
                constexpr auto spacing = static_cast<std::uint16_t>(Token::startOfLine | Token::leadingSpace);
                piece[0].flags = static_cast<std::uint16_t>((piece[0].flags & ~spacing) | (token.flags & spacing));
            }
        } else {
            piece.push_back(token);
        }
        if (!spend(name, piece.size())) break;
        std::size_t first = 0;
        if (pasteNext) {
            pasteNext = false;
            bool droppedComma = out.back().is(TokenKind::comma) && token.isWord() && token.identifier == vaArgs_;
            if (droppedComma && piece.empty())
                out.pop_back(); // ", ## __VA_ARGS__" with nothing to add
            else if (!droppedComma && !piece.empty() && paste(out.back(), piece[0]))
                first = 1;
        }
        out.insert(out.end(), piece.begin() + static_cast<std::ptrdiff_t>(first), piece.end());
        if (pasteNext && out.empty()) pasteNext = false;
    }
    return arena_.copy(out);
}

} // namespace msl
