// The lines that begin with '#'.
#include "MSL/lex/Literals.h"
#include "MSL/lex/Preprocessor.h"

#include <algorithm>
#include <array>
#include <string>

namespace msl {

// Reads to the end of the directive whatever is left of it.
void Preprocessor::skipLine(Token& token) {
    while (lexer_.inDirective())
        lexer_.next(token);
}

void Preprocessor::directive(const Token& hash) {
    lexer_.enterDirective();
    Token keyword;
    lexer_.next(keyword);
    if (keyword.is(TokenKind::endOfDirective)) return; // a lone '#'
    if (keyword.is(TokenKind::number)) {               // "# 12 "file"", as preprocessors write it
        lineDirective(hash, keyword);
    } else if (!keyword.isWord()) {
        diagnostics_.error(keyword.location, "invalid preprocessing directive");
    } else {
        std::string_view name = keyword.identifier->text;
        if (name == "define")
            define();
        else if (name == "undef")
            undef();
        else if (name == "include" || name == "import" || name == "include_next")
            include(keyword);
        else if (name == "if" || name == "ifdef" || name == "ifndef" || name == "elif" || name == "else" ||
                 name == "endif")
            conditional(keyword, name);
        else if (name == "line") {
            Token first;
            lexer_.next(first);
            lineDirective(hash, first);
        } else if (name == "error" || name == "warning")
            userMessage(keyword, name == "error");
        else if (name == "pragma" || name == "ident") {
            pragma(keyword.location, lexer_.restOfLine());
            lexer_.setQuiet(true); // its text is not code: "#pragma mark - What's left"
            Token rest;
            skipLine(rest);
            lexer_.setQuiet(false);
            return;
        } else
            diagnostics_.error(keyword.location, "invalid preprocessing directive");
    }
    Token rest;
    skipLine(rest);
}

bool Preprocessor::readMacroName(Token& token) {
    lexer_.next(token);
    if (token.is(TokenKind::endOfDirective)) {
        diagnostics_.error(token.location, "macro name missing");
        return false;
    }
    if (!token.isWord()) {
        diagnostics_.error(token.location, "macro name must be an identifier");
        return false;
    }
    if (token.identifier == defined_) {
        diagnostics_.error(token.location, "'defined' cannot be used as a macro name");
        return false;
    }
    return true;
}

void Preprocessor::define() {
    Token name;
    if (!readMacroName(name)) return;
    auto* macro = arena_.make<Macro>();
    macro->name = name.identifier;
    macro->location = name.location;

    Token token;
    lexer_.next(token);
    if (token.is(TokenKind::leftParen) && !token.has(Token::leadingSpace)) {
        macro->isFunctionLike = true;
        std::vector<const Identifier*> parameters;
        lexer_.next(token);
        while (!token.is(TokenKind::rightParen)) {
            if (token.is(TokenKind::ellipsis)) {
                macro->isVariadic = true;
                parameters.push_back(vaArgs_);
                lexer_.next(token);
                if (!token.is(TokenKind::rightParen)) {
                    diagnostics_.error(token.location, "missing ')' in macro parameter list");
                    return;
                }
                break;
            }
            if (!token.isWord()) {
                diagnostics_.error(token.location, token.is(TokenKind::endOfDirective)
                                                       ? "missing ')' in macro parameter list"
                                                       : "invalid token in macro parameter list");
                return;
            }
            if (std::ranges::find(parameters, token.identifier) != parameters.end()) {
                diagnostics_.error(token.location,
                                   "duplicate macro parameter name '" + std::string(token.identifier->text) + "'");
                return;
            }
            if (parameters.size() >= parameterLimit) {
                diagnostics_.error(token.location, "a macro with more than 256 parameters is not supported here");
                return;
            }
            parameters.push_back(token.identifier);
            lexer_.next(token);
            if (token.is(TokenKind::comma)) {
                lexer_.next(token);
            } else if (token.is(TokenKind::ellipsis)) { // "args..."
                macro->isVariadic = true;
                lexer_.next(token);
            } else if (!token.is(TokenKind::rightParen)) {
                diagnostics_.error(token.location, token.is(TokenKind::endOfDirective)
                                                       ? "missing ')' in macro parameter list"
                                                       : "expected comma in macro parameter list");
                return;
            }
        }
        macro->parameters = arena_.copy(parameters);
        lexer_.next(token);
    }

    std::vector<Token> body;
    for (; !token.is(TokenKind::endOfDirective); lexer_.next(token)) {
        if (token.is(TokenKind::hashhash) ||
            (token.isWord() && std::ranges::find(macro->parameters, token.identifier) != macro->parameters.end()))
            macro->usesParameters = true;
        if (body.empty()) token.flags &= static_cast<std::uint16_t>(~Token::leadingSpace);
        if (body.size() >= expansionLimit / 4) {
            spend(name, expansionLimit);
            return;
        }
        body.push_back(token);
    }
    for (std::size_t i = 0; macro->isFunctionLike && i < body.size(); ++i) {
        if (!body[i].is(TokenKind::hash)) continue;
        bool namesParameter = i + 1 < body.size() && body[i + 1].isWord() &&
                              std::ranges::find(macro->parameters, body[i + 1].identifier) != macro->parameters.end();
        if (!namesParameter) {
            diagnostics_.error(body[i].location, "'#' is not followed by a macro parameter");
            return;
        }
    }
    if (!body.empty() && body.front().is(TokenKind::hashhash)) {
        diagnostics_.error(body.front().location, "'##' cannot appear at start of macro expansion");
        return;
    }
    if (!body.empty() && body.back().is(TokenKind::hashhash)) {
        diagnostics_.error(body.back().location, "'##' cannot appear at end of macro expansion");
        return;
    }
    macro->body = arena_.copy(body);

    Identifier& identifier = *identifiers_.getMutable(name.identifier->text);
    if (identifier.isMacro && identifier.macro && identifier.macro->location) {
        auto isSame = [](const Token& a, const Token& b) { return a.kind == b.kind && spelling(a) == spelling(b); };
        const Macro& before = *identifier.macro;
        if (before.isFunctionLike != macro->isFunctionLike ||
            !std::ranges::equal(before.parameters, macro->parameters) ||
            !std::ranges::equal(before.body, macro->body, isSame)) {
            diagnostics_.warning(name.location, "'" + std::string(identifier.text) + "' macro redefined",
                                 WarningGroup::macroRedefined);
            diagnostics_.note(before.location, "previous definition is here");
        }
    }
    identifier.isMacro = true;
    identifier.macro = macro;
}

void Preprocessor::undef() {
    Token name;
    if (readMacroName(name)) identifiers_.getMutable(name.identifier->text)->isMacro = false;
}

// The headers that come with the language. Their contents are built in, wherever they are included.
bool Preprocessor::isKnownHeader(std::string_view name) const {
    static constexpr std::array headers = std::to_array<std::string_view>({
        "TargetConditionals.h",
        "metal_array",
        "metal_atomic",
        "metal_command_buffer",
        "metal_common",
        "metal_compute",
        "metal_config",
        "metal_extended_vector",
        "metal_geometric",
        "metal_graphics",
        "metal_integer",
        "metal_limits",
        "metal_logging",
        "metal_math",
        "metal_matrix",
        "metal_numeric",
        "metal_pack",
        "metal_packed_vector",
        "metal_pull_interpolation",
        "metal_quadgroup",
        "metal_relational",
        "metal_simdgroup",
        "metal_stdlib",
        "metal_texture",
        "metal_type_traits",
        "metal_types",
        "metal_uniform",
        "metal_visible_function_table",
    });
    static_assert(std::ranges::is_sorted(headers));
    return std::ranges::binary_search(headers, name) || name.starts_with("simd/");
}

void Preprocessor::include(const Token& keyword) {
    SourceLocation at;
    std::string_view name = lexer_.headerName(at);
    if (name.empty()) {
        Token token;
        lexer_.next(token);
        if (!token.is(TokenKind::string)) {
            SourceLocation where = token.is(TokenKind::endOfDirective) ? keyword.location : token.location;
            diagnostics_.error(where, "expected \"FILENAME\" or <FILENAME>");
            return;
        }
        at = token.location;
        name = spelling(token);
        name = name.substr(1, name.size() - 2);
    }
    if (!isKnownHeader(name)) diagnostics_.error(at, "'" + std::string(name) + "' file not found");
}

void Preprocessor::lineDirective(const Token& hash, Token first) {
    NumberLiteral number = first.is(TokenKind::number) ? readNumber(spelling(first)) : NumberLiteral{.error = "none"};
    // Leading zeros do not make the number octal here.
    std::string_view digits = first.is(TokenKind::number) ? spelling(first) : std::string_view();
    bool isDigits = !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
    std::uint64_t line = 0;
    for (char c : digits.substr(0, isDigits ? 12 : 0))
        line = line * 10 + static_cast<unsigned>(c - '0');
    if (!isDigits || (line == 0 && number.error.empty() && number.integer == 0 && digits != "0")) {
        diagnostics_.error(first.location, "#line directive requires a positive integer argument");
        return;
    }
    Token file;
    lexer_.next(file);
    std::string name;
    if (file.is(TokenKind::string)) {
        name = readString(spelling(file));
    } else if (!file.is(TokenKind::endOfDirective)) {
        diagnostics_.error(file.location, "invalid filename for #line directive");
        return;
    }
    if (line > 0x7FFFFFFF) line = 0x7FFFFFFF;
    sources_.addLineDirective(hash.location.offset(), static_cast<std::uint32_t>(line), name);
}

// Of all pragmas only those mean something here that say how structs are laid out and which warnings are wanted.
void Preprocessor::pragma(SourceLocation at, std::string_view text) {
    if (const std::size_t begin = text.find_first_not_of(" \t\v\f"); begin != std::string_view::npos) {
        const std::string_view all = text.substr(begin);
        const std::string_view name = all.substr(0, all.find_first_of(" \t\v\f("));
        if (name == "pack") return pragmaPack(at, all.substr(name.size()));
        if (name == "options") // "#pragma options align=packed"
            return diagnostics_.error(at, "'#pragma options' is not supported here; '#pragma pack' is");
    }
    const auto word = [&text] {
        const std::size_t begin = std::min(text.find_first_not_of(" \t\v\f"), text.size());
        const std::size_t end = std::min(text.find_first_of(" \t\v\f", begin), text.size());
        const std::string_view found = text.substr(begin, end - begin);
        text.remove_prefix(end);
        return found;
    };
    const std::string_view vendor = word();
    if ((vendor != "clang" && vendor != "GCC") || word() != "diagnostic") return;
    WarningControl& control = diagnostics_.warningControl();
    const std::string_view action = word();
    if (action == "push") return control.push(at.offset());
    if (action == "pop") return control.pop(at.offset());
    const std::string_view option = word();
    if (option.size() < 2 || option.front() != '"' || option.back() != '"') return;
    const std::string_view group = option.substr(1, option.size() - 2);
    if (action == "ignored")
        control.set(at.offset(), group, WarningLevel::ignored);
    else if (action == "warning")
        control.set(at.offset(), group, WarningLevel::warning);
    else if (action == "error" || action == "fatal")
        control.set(at.offset(), group, WarningLevel::error);
}

// "#pragma pack(...)" with nothing, a number, "push", "push, number", "pop", and labels of one's own behind push and
// pop. Nothing of it is passed over, since every struct behind it would lie differently.
void Preprocessor::pragmaPack(SourceLocation at, std::string_view text) {
    std::vector<std::string_view> words;
    bool isWhole = false;
    bool wantsWord = false;
    const auto isWordCharacter = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    };
    for (std::size_t i = std::min(text.find('('), text.size()) + 1; i < text.size() && !isWhole;) {
        const char c = text[i];
        const std::size_t end = static_cast<std::size_t>(
            std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(i), text.end(), isWordCharacter) -
            text.begin());
        if (end > i) {
            if (!words.empty() && !wantsWord) break;
            words.push_back(text.substr(i, end - i));
            wantsWord = false;
            i = end;
            continue;
        }
        if (c == ')')
            isWhole = !wantsWord;
        else if (c == ',' && !words.empty() && !wantsWord)
            wantsWord = true;
        else if (c != ' ' && c != '\t')
            break;
        ++i;
    }
    if (!isWhole || words.size() > 3) return diagnostics_.error(at, "malformed '#pragma pack'");
    const bool isPush = !words.empty() && words[0] == "push";
    const bool isPop = !words.empty() && words[0] == "pop";
    std::string_view label;
    std::string_view number;
    for (std::size_t i = isPush || isPop ? 1 : 0; i < words.size(); ++i) {
        std::string_view& part = words[i].find_first_not_of("0123456789") == std::string_view::npos ? number : label;
        if (!part.empty() || (&part == &label && !isPush && !isPop))
            return diagnostics_.error(at, "malformed '#pragma pack'");
        part = words[i];
    }
    static constexpr std::string_view numbers[] = {"0", "1", "2", "4", "8", "16"};
    const auto known = std::ranges::find(numbers, number.empty() ? "0" : number);
    if (known == std::end(numbers))
        return diagnostics_.error(at, "expected #pragma pack parameter to be '1', '2', '4', '8', or '16'");
    const auto code = static_cast<std::uint16_t>((known - std::begin(numbers)) << Token::packingShift);
    if (isPush) packings_.push_back({packingFlags_, arena_.copyText(label)});
    if (isPop) {
        std::size_t from = packings_.size(); // of the last with the label
        while (from > 0 && !label.empty() && packings_[from - 1].label != label)
            --from;
        if (from == 0)
            return diagnostics_.error(at, "#pragma pack(pop, ...) failed: " +
                                              std::string(packings_.empty() ? "stack empty" : "no such label"));
        packingFlags_ = packings_[from - 1].flags;
        packings_.resize(from - 1);
    }
    if (!number.empty() || words.empty()) packingFlags_ = code;
}

// _Pragma("...") means what the line "#pragma ..." means, and can stand in a macro.
void Preprocessor::pragmaOperator(const Token& keyword) {
    Token text;
    Token token;
    bool isWhole = true;
    for (const TokenKind wanted : {TokenKind::leftParen, TokenKind::string, TokenKind::rightParen}) {
        nextExpanded(token);
        isWhole = token.is(wanted);
        if (!isWhole) break;
        if (wanted == TokenKind::string) text = token;
    }
    if (isWhole) return pragma(keyword.location, readString(spelling(text)));
    diagnostics_.error(keyword.location, "_Pragma takes a parenthesized string literal");
    // What stands there instead is no code.
    while (!token.is(TokenKind::rightParen) && !token.is(TokenKind::semicolon) && !token.is(TokenKind::rightBrace) &&
           !token.is(TokenKind::eof))
        nextExpanded(token);
}

void Preprocessor::userMessage(const Token& keyword, bool isError) {
    std::string_view text = lexer_.restOfLine();
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    lexer_.setQuiet(true);
    Token rest;
    skipLine(rest);
    lexer_.setQuiet(false);
    if (isError)
        diagnostics_.error(keyword.location, std::string(text));
    else
        diagnostics_.warning(keyword.location, std::string(text), WarningGroup::userWarning);
}

void Preprocessor::conditional(const Token& keyword, std::string_view name) {
    bool isSkipping = false;
    if (name == "if" || name == "ifdef" || name == "ifndef") {
        bool holds = false;
        if (name == "if") {
            holds = evaluateCondition(keyword.location);
        } else {
            Token macro;
            if (readMacroName(macro)) holds = macro.identifier->isMacro == (name == "ifdef");
        }
        conditions_.push_back({keyword.location, holds, !holds, false});
        isSkipping = !holds;
    } else if (conditions_.empty()) {
        diagnostics_.error(keyword.location, "#" + std::string(name) + " without #if");
    } else if (name == "endif") {
        conditions_.pop_back();
    } else {
        // Met while reading a branch that was taken: the other branches are skipped.
        if (conditions_.back().sawElse) diagnostics_.error(keyword.location, "#" + std::string(name) + " after #else");
        conditions_.back().sawElse |= name == "else";
        isSkipping = true;
    }
    Token rest;
    skipLine(rest);
    if (isSkipping) skipExcluded();
}

// Reads over lines until a branch that is to be read, or the end of the condition.
void Preprocessor::skipExcluded() {
    unsigned depth = 0;
    Token token;
    lexer_.setQuiet(true);
    for (;;) {
        lexer_.next(token);
        if (token.is(TokenKind::eof)) {
            lexer_.setQuiet(false);
            return; // closeRegion() reports it
        }
        if (!token.is(TokenKind::hash) || !token.has(Token::startOfLine)) continue;
        lexer_.enterDirective();
        lexer_.next(token);
        std::string_view name = token.isWord() ? token.identifier->text : std::string_view();
        bool isDone = false;
        if (name == "if" || name == "ifdef" || name == "ifndef") {
            ++depth;
        } else if (name == "endif") {
            if (depth == 0) {
                conditions_.pop_back();
                isDone = true;
            } else {
                --depth;
            }
        } else if (depth == 0 && (name == "else" || name == "elif")) {
            Condition& condition = conditions_.back();
            lexer_.setQuiet(false);
            if (condition.sawElse) diagnostics_.error(token.location, "#" + std::string(name) + " after #else");
            condition.sawElse |= name == "else";
            if (!condition.wasTaken) isDone = name == "else" || evaluateCondition(token.location);
            condition.wasTaken |= isDone;
            lexer_.setQuiet(!isDone);
        }
        if (isDone) lexer_.setQuiet(false);
        skipLine(token);
        if (isDone) return;
    }
}

void Preprocessor::closeRegion() {
    for (const Condition& condition : conditions_)
        diagnostics_.error(condition.location, "unterminated conditional directive");
    conditions_.clear();
    packingFlags_ = 0;
    packings_.clear();
}

} // namespace msl
