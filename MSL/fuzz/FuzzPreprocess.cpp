// Bytes to preprocessed tokens: every text ends, with its tokens inside the text.
#include "MSL/fuzz/Findings.h"
#include "MSL/lex/Preprocessor.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace msl;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const bool hasHost = fuzz::hashOf(text) % 3 == 0;
    Arena arena;
    SourceManager sources(text, "text", hasHost ? size / 4 : 0, hasHost ? size / 2 : 0);
    Diagnostics diagnostics(sources);
    IdentifierTable identifiers(arena);
    Preprocessor preprocessor(sources, identifiers, arena, diagnostics);
    Token token;
    std::uint64_t count = 0;
    do {
        preprocessor.next(token);
        if (token.location && token.location.offset() > size) fuzz::finding("a token behind the text");
        if (token.end > size) fuzz::finding("a token that ends behind the text");
        if (++count > 2 * Preprocessor::expansionLimit + size) fuzz::finding("tokens without end");
    } while (!token.is(TokenKind::eof));
    fuzz::checkMessages(diagnostics.messages(), text, diagnostics.hasErrors());
    return 0;
}
